#include <netdb.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <memory>
#include <system_error>

#include "platform/kel/StandardError.h"
#include "web/Server.h"

namespace Web {

namespace {

constexpr int backlog = 128;

[[noreturn]] void fail( std::string const & place ) {
   throw std::system_error( errno, std::generic_category(), Kel::shownName( place ) );
}

bool isSocket( std::string const & path ) {
   struct stat found {};
   return ::lstat( path.c_str(), &found ) == 0 && S_ISSOCK( found.st_mode );
}

int listenAtPath( std::string const & path ) {
   sockaddr_un address{};
   address.sun_family = AF_UNIX;
   if ( path.size() >= sizeof address.sun_path ) {
      errno = ENAMETOOLONG;
      fail( path );
   }
   path.copy( address.sun_path, path.size() );
   int const fd = ::socket( AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0 );
   auto const * const where = reinterpret_cast< sockaddr const * >( &address );
   // One that nobody serves any more is left by a process that was killed. A file of another kind
   // is answered alike, and is someone's.
   if ( fd != -1 && isSocket( path ) && ::connect( fd, where, sizeof address ) == -1 &&
        errno == ECONNREFUSED ) {
      ::unlink( path.c_str() );
   }
   ::close( fd );
   int const served = ::socket( AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0 );
   mode_t const mask = ::umask( 0117 );
   int const bound = served == -1 ? -1 : ::bind( served, where, sizeof address );
   ::umask( mask );
   if ( bound == -1 || ::listen( served, backlog ) == -1 ) {
      fail( path );
   }
   return served;
}

}  // namespace

int listenAt( Place const & place ) {
   if ( !place.socket.empty() ) {
      return listenAtPath( place.socket );
   }
   std::string const words = place.host + ":" + std::to_string( place.port );
   addrinfo hints{};
   hints.ai_socktype = SOCK_STREAM;
   hints.ai_flags = AI_PASSIVE | AI_NUMERICSERV;
   addrinfo * found = nullptr;
   if ( ::getaddrinfo( place.host.c_str(), std::to_string( place.port ).c_str(), &hints, &found ) !=
        0 ) {
      errno = EADDRNOTAVAIL;
      fail( words );
   }
   std::unique_ptr< addrinfo, decltype( &::freeaddrinfo ) > const freed( found, &::freeaddrinfo );
   int const fd = ::socket( found->ai_family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0 );
   int const yes = 1;
   ::setsockopt( fd, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes );
   if ( fd == -1 || ::bind( fd, found->ai_addr, found->ai_addrlen ) == -1 ||
        ::listen( fd, backlog ) == -1 ) {
      fail( words );
   }
   return fd;
}

}  // namespace Web
