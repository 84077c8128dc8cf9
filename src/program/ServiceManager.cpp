#include "program/ServiceManager.h"

#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <charconv>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>
#include <utility>

namespace Program {

namespace {

/** A number of the environment; nothing for none. */
std::optional< std::uint64_t > numberOf( char const * variable ) {
   char const * const value = std::getenv( variable );
   std::string_view const text = value ? value : "";
   std::uint64_t number = 0;
   auto const [end, error] = std::from_chars( text.data(), text.data() + text.size(), number );
   bool const whole = error == std::errc{} && end == text.data() + text.size();
   return whole ? std::optional( number ) : std::nullopt;
}

/** How long it waits for a word of this process; nothing when it doesn't. */
std::optional< Orb::Seconds > watchedFor() {
   auto const microseconds = numberOf( "WATCHDOG_USEC" );
   auto const pid = numberOf( "WATCHDOG_PID" );
   bool const meant = !std::getenv( "WATCHDOG_PID" ) ||
                      ( pid && *pid == static_cast< std::uint64_t >( ::getpid() ) );
   return microseconds && *microseconds != 0 && meant
             ? std::optional( static_cast< Orb::Seconds >( *microseconds ) / 1e6 )
             : std::nullopt;
}

}  // namespace

void tellServiceManager( std::string const & state ) {
   char const * const name = std::getenv( "NOTIFY_SOCKET" );
   std::string_view const path = name ? name : "";
   sockaddr_un address{};
   address.sun_family = AF_UNIX;
   if ( path.empty() || path.size() >= sizeof address.sun_path ) {
      return;
   }
   path.copy( address.sun_path, path.size() );
   if ( path.front() == '@' ) {
      // A name that is no file's begins with a zero.
      address.sun_path[0] = 0;
   }
   int const fd = ::socket( AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0 );
   if ( fd != -1 ) {
      auto const size = static_cast< socklen_t >( offsetof( sockaddr_un, sun_path ) + path.size() );
      // One that doesn't read must not stop the process; the word that others wait for gets a
      // while.
      bool const isAwaited = state.starts_with( "READY=1" );
      timeval const aWhile{ 1, 0 };
      ::setsockopt( fd, SOL_SOCKET, SO_SNDTIMEO, &aWhile, sizeof aWhile );
      ::sendto( fd, state.data(), state.size(), MSG_NOSIGNAL | ( isAwaited ? 0 : MSG_DONTWAIT ),
                reinterpret_cast< sockaddr const * >( &address ), size );
      ::close( fd );
   }
}

Watchdog::Watchdog( Kel::Ptr< Orb::TaskScheduler > scheduler )
   : scheduler_( std::move( scheduler ) ) {
   if ( auto const limit = watchedFor() ) {
      // A turn may be long, so there is room for one between two words.
      interval_ = *limit / 3;
      due();
   }
}

void Watchdog::due() {
   tellServiceManager( "WATCHDOG=1" );
   scheduler_->arm( *this, scheduler_->now() + *interval_ );
}

}  // namespace Program
