#include "program/EventLog.h"

#include <array>
#include <string>

#include "platform/kel/StandardError.h"
#include "program/TimeText.h"

namespace Program {

void logEvent( LogLevel level, std::string_view text ) {
   constexpr std::array< char const *, 3 > names{ "info", "warning", "error" };
   Kel::writeStandardError( utcTime() + " " + names[static_cast< std::size_t >( level )] + " " +
                            Kel::oneLine( text ) + "\n" );
}

}  // namespace Program
