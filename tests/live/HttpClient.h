#pragma once

#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <chrono>
#include <string>

namespace Live {

/** A connection to a server, which reads what it is told to. */
class HttpClient {
 public:
   explicit HttpClient( std::string const & path )
      : fd_( ::socket( AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0 ) ) {
      sockaddr_un address{};
      address.sun_family = AF_UNIX;
      path.copy( address.sun_path, sizeof address.sun_path - 1 );
      isThere_ =
         ::connect( fd_, reinterpret_cast< sockaddr const * >( &address ), sizeof address ) == 0;
   }
   /** At a port of this machine. */
   explicit HttpClient( std::uint16_t port )
      : fd_( ::socket( AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0 ) ) {
      sockaddr_in const address = loopback( port );
      isThere_ =
         ::connect( fd_, reinterpret_cast< sockaddr const * >( &address ), sizeof address ) == 0;
   }
   ~HttpClient() { ::close( fd_ ); }
   HttpClient( HttpClient const & ) = delete;
   HttpClient & operator=( HttpClient const & ) = delete;

   static sockaddr_in loopback( std::uint16_t port ) {
      sockaddr_in address{};
      address.sin_family = AF_INET;
      address.sin_addr.s_addr = htonl( INADDR_LOOPBACK );
      address.sin_port = htons( port );
      return address;
   }
   bool isThere() const { return isThere_; }
   void send( std::string const & text ) const {
      [[maybe_unused]] auto const sent =
         ::send( fd_, text.data(), text.size(), MSG_NOSIGNAL | MSG_DONTWAIT );
   }
   /** Reads until a text has come, or the end, or the time is over; yields all up to then. */
   std::string readTo( std::string const & text, double seconds = 10 ) {
      auto const end =
         std::chrono::steady_clock::now() + std::chrono::duration< double >( seconds );
      while ( read_.find( text ) == read_.npos && std::chrono::steady_clock::now() < end ) {
         pollfd waiting{ fd_, POLLIN, 0 };
         if ( ::poll( &waiting, 1, 10 ) > 0 ) {
            char bytes[65536];
            auto const size = ::recv( fd_, bytes, sizeof bytes, MSG_DONTWAIT );
            if ( size <= 0 ) {
               break;
            }
            read_.append( bytes, static_cast< std::size_t >( size ) );
         }
      }
      return read_;
   }
   void forget() { read_.clear(); }

 private:
   int fd_;
   bool isThere_;
   std::string read_;
};

/** The answer, head and body; empty without one. */
inline std::string httpGet( auto const & place, std::string const & what,
                            std::string const & headers = "", double seconds = 10 ) {
   HttpClient client( place );
   client.send( "GET " + what + " HTTP/1.1\r\nHost: page\r\nConnection: close\r\n" + headers +
                "\r\n" );
   return client.readTo( "the end of the connection", seconds );
}

}  // namespace Live
