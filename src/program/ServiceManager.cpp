#include "program/ServiceManager.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstddef>
#include <cstdlib>
#include <string_view>

namespace Program {

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
      ::sendto( fd, state.data(), state.size(), MSG_NOSIGNAL,
                reinterpret_cast< sockaddr const * >( &address ), size );
      ::close( fd );
   }
}

}  // namespace Program
