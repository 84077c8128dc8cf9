#include "program/EventLog.h"

#include <array>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <string>

#include "platform/kel/StandardError.h"

namespace Program {

namespace {

std::string timeNow() {
   using namespace std::chrono;
   auto const now = floor< milliseconds >( system_clock::now() );
   std::time_t const seconds = system_clock::to_time_t( now );
   std::tm utc{};
   ::gmtime_r( &seconds, &utc );
   std::array< char, 64 > text{};
   std::size_t const size = std::strftime( text.data(), text.size(), "%Y-%m-%dT%H:%M:%S", &utc );
   auto const part = static_cast< int >( now.time_since_epoch().count() % 1000 );
   std::snprintf( text.data() + size, text.size() - size, ".%03dZ", part );
   return text.data();
}

}  // namespace

void logEvent( LogLevel level, std::string_view text ) {
   constexpr std::array< char const *, 3 > names{ "info", "warning", "error" };
   Kel::writeStandardError( timeNow() + " " + names[static_cast< std::size_t >( level )] + " " +
                            Kel::oneLine( text ) + "\n" );
}

}  // namespace Program
