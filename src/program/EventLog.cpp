#include "program/EventLog.h"

#include <array>

#include "platform/corestore/ValueText.h"
#include "platform/kel/StandardError.h"
#include "program/TimeText.h"

namespace Program {

namespace {

/** Of the process. */
struct {
   LogFormat format = LogFormat::text;
   std::string unit;
} log;

}  // namespace

void logIs( LogFormat format, std::string const & unit ) {
   log = { format, unit };
}

bool logsJson() {
   return log.format == LogFormat::json;
}

void logEvent( LogLevel level, std::string_view text, Kel::Value::Object const & fields ) {
   constexpr std::array< char const *, 3 > names{ "info", "warning", "error" };
   char const * const name = names[static_cast< std::size_t >( level )];
   if ( log.format == LogFormat::text ) {
      Kel::writeStandardError( utcTime() + " " + name + " " + Kel::oneLine( text ) + "\n" );
      return;
   }
   Kel::Value::Object event{ { "time", utcTime() },
                             { "level", name },
                             { "unit", log.unit },
                             { "text", std::string( text ) } };
   event.insert( event.end(), fields.begin(), fields.end() );
   Kel::writeStandardError( Corestore::jsonLine( event ) + "\n" );
}

}  // namespace Program
