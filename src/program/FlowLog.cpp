#include "program/FlowLog.h"

#include <string_view>
#include <utility>

#include "program/EventLog.h"
#include "records/catalog/Catalog.h"
#include "views/tables/FlowNews.h"

namespace Program {

namespace {

/** How long changes are collected, so that thousands of rules take no thousands of lines. */
constexpr Orb::Seconds bundle = 0.1;

/** An event of a flow: "flow NAME: STATE". */
void tell( LogLevel level, std::string const & flow, std::string const & state,
           std::string const & more, Kel::Value::Object const & fields ) {
   Kel::Value::Object all{ { "event", "flow" }, { "flow", flow }, { "state", state } };
   all.insert( all.end(), fields.begin(), fields.end() );
   logEvent( level, "flow " + flow + ": " + state + more, all );
}

std::string behind( std::string const & details ) {
   return details.empty() ? "" : ": " + details;
}

LogLevel levelOf( std::string_view state ) {
   return state == "rejected" || state == "error" ? LogLevel::warning : LogLevel::info;
}

}  // namespace

FlowLog::FlowLog( Corestore::EntityManager & em )
   : em_( em ), observer_( em, [this]( Corestore::Change const & change ) { seen( change ); } ) {}

FlowLog::~FlowLog() {
   em_.scheduler().disarm( *this );
}

void FlowLog::seen( Corestore::Change const & change ) {
   static std::string const statuses = Catalog::pathOf( "polFragStatus" );
   static std::string const routedStatuses = Catalog::pathOf( "fragmentStatusDir" );
   static std::string const answers = Catalog::pathOf( "pfHwStatus" );
   bool const first = flows_.empty() && routedFlows_.empty() && rules_.empty();
   std::string_view const attribute = change.attribute.name();
   if ( change.rootPath == statuses && attribute == "flowStatus" ) {
      flows_.emplace( change.entity.keyName(), change.attribute.keyText( change.key ) );
   } else if ( change.rootPath == routedStatuses && attribute == "flow" ) {
      if ( auto const * fragment = change.entity.parent() ) {
         routedFlows_.emplace( fragment->keyName(), change.attribute.keyText( change.key ) );
      }
   } else if ( change.rootPath == answers && attribute == "flowStats" ) {
      rules_.insert( change.attribute.keyText( change.key ) );
   } else if ( change.rootPath == answers && attribute == "status" &&
               change.entity.parentAttrName() == std::string_view( "flowStats" ) ) {
      rules_.insert( change.entity.keyName() );
   } else {
      return;
   }
   if ( first ) {
      em_.scheduler().arm( *this, em_.scheduler().now() + bundle );
   }
}

void FlowLog::due() {
   for ( std::string const & rule : std::exchange( rules_, {} ) ) {
      tellRule( rule );
   }
   for ( Flow const & flow : std::exchange( flows_, {} ) ) {
      tellFlow( flow );
   }
   for ( Flow const & flow : std::exchange( routedFlows_, {} ) ) {
      tellRoutedFlow( flow );
   }
}

void FlowLog::tellRule( std::string const & rule ) {
   using enum Views::HardwareAnswer::Kind;
   auto const news = Views::ruleNews( em_, rule );
   std::string flow = news.fragment.empty() ? "-" : Views::sharedName( news.fragment );
   if ( !news.flow.empty() ) {
      flow = Views::flowPath( news.fragment, news.flow );
      flows_.emplace( news.fragment, news.flow );
   }
   Kel::Value::Object fields{ { "event", "rule" }, { "flow", flow }, { "rule", rule } };
   std::string const text = "flow " + flow + ": rule " + rule + ": " + news.answer.words;
   if ( news.answer.kind == rejected ) {
      refused_.insert( rule );
      fields.emplace_back( "state", "rejected" );
      fields.emplace_back( "reason", news.answer.reason );
      logEvent( LogLevel::warning, text, fields );
   } else if ( news.answer.kind == none ) {
      refused_.erase( rule );
   } else if ( news.answer.kind == programmed && refused_.erase( rule ) != 0 ) {
      // Of other rules their number tells.
      fields.emplace_back( "state", "programmed" );
      logEvent( LogLevel::info, text, fields );
   }
}

void FlowLog::tellFlow( Flow const & flow ) const {
   auto const news = Views::policyFlowNews( em_, flow.first, flow.second );
   std::string const name = Views::flowPath( flow.first, flow.second );
   if ( !news ) {
      tell( LogLevel::info, name, "gone", "", {} );
      return;
   }
   tell( levelOf( news->state ), name, news->state,
         ", the hardware has " + std::to_string( news->programmed ) + " of " +
            std::to_string( news->rules ) + " rules" + behind( news->details ),
         { { "details", news->details },
           { "rules", news->rules },
           { "programmed", news->programmed } } );
}

void FlowLog::tellRoutedFlow( Flow const & flow ) const {
   auto const news = Views::routedFlowNews( em_, flow.first, flow.second );
   std::string const name = Views::flowPath( flow.first, flow.second );
   if ( !news ) {
      tell( LogLevel::info, name, "gone", "", {} );
      return;
   }
   tell( levelOf( news->state ), name, news->state, behind( news->details ),
         { { "details", news->details } } );
}

}  // namespace Program
