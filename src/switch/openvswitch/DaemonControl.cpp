#include "switch/openvswitch/DaemonControl.h"

#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <fstream>

#include "switch/ovsdb/Json.h"
#include "switch/ovsdb/Splitter.h"

namespace OpenVSwitch {

namespace {

/** An answer that takes longer doesn't come. */
constexpr timeval patience{ .tv_sec = 10, .tv_usec = 0 };

[[noreturn]] void fail( std::string const & socket, std::string const & reason ) {
   throw DaemonError( "the switch's daemon does not answer (" + socket + "): " + reason );
}

/** A connection that ends with this object. */
class Socket {
 public:
   explicit Socket( std::string path ) : path_( std::move( path ) ) {
      sockaddr_un address{};
      address.sun_family = AF_UNIX;
      if ( path_.size() >= sizeof address.sun_path ) {
         fail( path_, "the socket's path is too long" );
      }
      path_.copy( address.sun_path, sizeof address.sun_path - 1 );
      check( fd_ = ::socket( AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0 ) );
      ::setsockopt( fd_, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience );
      ::setsockopt( fd_, SOL_SOCKET, SO_SNDTIMEO, &patience, sizeof patience );
      check( ::connect( fd_, reinterpret_cast< sockaddr const * >( &address ), sizeof address ) );
   }
   ~Socket() { ::close( fd_ ); }
   Socket( Socket const & ) = delete;
   Socket & operator=( Socket const & ) = delete;

   void send( std::string const & text ) const {
      check( ::send( fd_, text.data(), text.size(), MSG_NOSIGNAL ) );
   }
   std::string receive() const {
      char piece[65536];
      auto const size =
         static_cast< std::size_t >( check( ::recv( fd_, piece, sizeof piece, 0 ) ) );
      if ( size == 0 ) {
         fail( path_, "closed" );
      }
      return { piece, size };
   }

 private:
   ssize_t check( ssize_t result ) const {
      if ( result < 0 ) {
         fail( path_, std::strerror( errno ) );
      }
      return result;
   }

   std::string path_;
   int fd_ = -1;
};

}  // namespace

std::string askDaemon( std::string const & runFolder, std::string const & command,
                       std::vector< std::string > const & words ) {
   std::string const daemon = runFolder + "/ovs-vswitchd.";
   std::string pid;
   std::ifstream( daemon + "pid" ) >> pid;
   if ( pid.empty() ) {
      fail( daemon + "pid", "it is not running" );
   }
   std::string const path = daemon + pid + ".ctl";
   Socket const socket( path );
   socket.send( Ovsdb::Json{ { "id", 0 }, { "method", command }, { "params", words } }.dump() );
   Ovsdb::Splitter splitter;
   std::string text;
   while ( text.empty() ) {
      splitter.add( socket.receive() );
      text = splitter.next().value_or( "" );
   }
   auto const answer = Ovsdb::Json::parse( text, nullptr, false );
   if ( answer.contains( "result" ) && answer["result"].is_string() ) {
      return answer["result"];
   }
   fail( path, answer.contains( "error" ) && answer["error"].is_string()
                  ? answer["error"].get< std::string >()
                  : text );
}

}  // namespace OpenVSwitch
