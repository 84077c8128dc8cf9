#include "program/StoreLog.h"

#include <string_view>

#include "program/EventLog.h"
#include "views/tables/Words.h"

namespace Program {

namespace {

using Event = Redis::RedisStore::Event;

/** What the event log calls it. */
char const * nameOf( Event event ) {
   switch ( event ) {
      case Event::progress:
         return "progress";
      case Event::trouble:
         return "trouble";
      case Event::skipped:
         return "skipped";
      case Event::ended:
         return "ended";
   }
   return "";
}

LogLevel levelOf( Event event ) {
   return event == Event::progress ? LogLevel::info
          : event == Event::ended  ? LogLevel::error
                                   : LogLevel::warning;
}

/** FRAGMENT/FLOW of a row of the policy; empty for any other. */
std::string flowOf( std::string_view row ) {
   constexpr std::string_view before = "qor/version1/policy/policy/policyFragment/";
   constexpr std::string_view between = "/flow/";
   if ( !row.starts_with( before ) ) {
      return "";
   }
   row.remove_prefix( before.size() );
   std::size_t const fragment = row.find( '/' );
   return fragment == row.npos || !row.substr( fragment ).starts_with( between )
             ? ""
             : Views::flowPath( std::string( row.substr( 0, fragment ) ),
                                std::string( row.substr( fragment + between.size() ) ) );
}

}  // namespace

void logStoreEvent( Event event, std::string const & text, std::string const & row,
                    Redis::Keys const & keys ) {
   Kel::Value::Object fields{ { "event", nameOf( event ) } };
   std::string const flow = flowOf( row );
   if ( !row.empty() ) {
      fields.emplace_back( "row", keys.of( row ) );
   }
   if ( !flow.empty() ) {
      fields.emplace_back( "flow", flow );
   }
   logEvent( levelOf( event ), ( flow.empty() ? "" : "flow " + flow + ": " ) + text, fields );
}

}  // namespace Program
