#include "program/TimeText.h"

#include <array>
#include <chrono>
#include <cstdio>
#include <ctime>

namespace Program {

namespace {

using Break = std::tm *( std::time_t const *, std::tm * );

/** The time now, by a form of strftime and with its milliseconds. */
std::string timeNow( Break * breakDown, char const * form ) {
   using namespace std::chrono;
   auto const now = floor< milliseconds >( system_clock::now() );
   std::time_t const seconds = system_clock::to_time_t( now );
   std::tm parts{};
   breakDown( &seconds, &parts );
   std::array< char, 64 > text{};
   std::size_t const size = std::strftime( text.data(), text.size(), form, &parts );
   auto const part = static_cast< int >( now.time_since_epoch().count() % 1000 );
   std::snprintf( text.data() + size, text.size() - size, ".%03d", part );
   return text.data();
}

}  // namespace

std::string utcTime() {
   return timeNow( &::gmtime_r, "%Y-%m-%dT%H:%M:%S" ) + "Z";
}

std::string localClock() {
   return timeNow( &::localtime_r, "%H:%M:%S" );
}

}  // namespace Program
