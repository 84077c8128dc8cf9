#pragma once

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "switch/openflow/Frames.h"

namespace OpenFlow {

/** A switch that does what a test says: it listens on a socket and keeps what comes. */
class Peer {
 public:
   Peer() {
      std::string pattern = std::filesystem::temp_directory_path() / "qorclient-peer-XXXXXX";
      folder_ = mkdtemp( pattern.data() );
   }
   ~Peer() {
      close();
      stopListening();
      std::filesystem::remove_all( folder_ );
   }
   Peer( Peer const & ) = delete;
   Peer & operator=( Peer const & ) = delete;

   std::string socket() const { return folder_ / "br0.mgmt"; }

   void listen() {
      sockaddr_un address{};
      address.sun_family = AF_UNIX;
      socket().copy( address.sun_path, sizeof address.sun_path - 1 );
      listener_ = ::socket( AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0 );
      ::bind( listener_, reinterpret_cast< sockaddr const * >( &address ), sizeof address );
      ::listen( listener_, 5 );
   }
   void stopListening() {
      ::close( listener_ );
      std::filesystem::remove( socket() );
   }
   void close() {
      ::close( fd_ );
      fd_ = -1;
      bytes_.clear();
      got.clear();
   }

   /** Takes what has come meanwhile. */
   void look() {
      if ( fd_ < 0 && ( fd_ = ::accept4( listener_, nullptr, nullptr, SOCK_NONBLOCK ) ) >= 0 ) {
         ++accepted;
      }
      char piece[4096];
      for ( ssize_t size; ( size = ::recv( fd_, piece, sizeof piece, 0 ) ) > 0; ) {
         bytes_.append( piece, static_cast< std::size_t >( size ) );
      }
      while ( auto const message = messageIn( bytes_ ) ) {
         got.push_back( { message->type, message->xid, std::string( message->body ) } );
         bytes_.erase( 0, message->size );
      }
   }

   void send( std::string_view bytes ) const {
      ::send( fd_, bytes.data(), bytes.size(), MSG_NOSIGNAL );
   }

   struct Got {
      MessageType type;
      std::uint32_t xid;
      std::string body;
   };
   std::vector< Got > got;
   int accepted = 0;

 private:
   std::filesystem::path folder_;
   int listener_ = -1;
   int fd_ = -1;
   std::string bytes_;
};

}  // namespace OpenFlow
