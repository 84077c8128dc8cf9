#pragma once

#include <gtest/gtest.h>
#include <linux/sockios.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <string>

#include "platform/orb/TaskScheduler.h"
#include "switch/ovsdb/Json.h"
#include "switch/ovsdb/Splitter.h"

namespace Ovsdb {

/** Plays a database's server, on the same thread as the client. */
class Peer {
 public:
   explicit Peer( Orb::TaskScheduler & scheduler ) : scheduler_( scheduler ) {
      std::string pattern = std::filesystem::temp_directory_path() / "qorclient-ovsdb-XXXXXX";
      folder_ = mkdtemp( pattern.data() );
      sockaddr_un address{};
      address.sun_family = AF_UNIX;
      path().copy( address.sun_path, sizeof address.sun_path - 1 );
      listening_ = ::socket( AF_UNIX, SOCK_STREAM, 0 );
      EXPECT_EQ( ::bind( listening_, reinterpret_cast< sockaddr * >( &address ), sizeof address ),
                 0 );
      EXPECT_EQ( ::listen( listening_, 5 ), 0 );
   }
   ~Peer() {
      close();
      ::close( listening_ );
      std::filesystem::remove_all( folder_ );
   }

   std::string path() const { return folder_ + "/db.sock"; }

   /** Waits until the client is there. */
   void accept() {
      scheduler_.run( [this] { return isReadable( listening_ ); } );
      fd_ = ::accept( listening_, nullptr, nullptr );
   }
   void close() {
      if ( fd_ != -1 ) {
         // What is left unread would make it a reset.
         for ( char byte; ::recv( fd_, &byte, 1, MSG_DONTWAIT ) > 0; ) {
         }
         ::close( fd_ );
      }
      fd_ = -1;
      received_ = {};
   }
   /** Sends it in pieces, each of which the client takes before the next one comes. */
   void send( std::string const & text, std::size_t piece = 65536 ) {
      for ( std::size_t at = 0; at < text.size(); at += piece ) {
         std::string const part = text.substr( at, piece );
         EXPECT_EQ( ::send( fd_, part.data(), part.size(), 0 ),
                    static_cast< ssize_t >( part.size() ) );
         scheduler_.run( [this] {
            int left = 0;
            return ::ioctl( fd_, SIOCOUTQ, &left ) != 0 || left == 0;
         } );
      }
   }
   /** Waits for what the client says next, besides asking whether this is there; an empty object
    *  when it closes. */
   Json heard() {
      Json message;
      while ( ( message = heardAny() ).value( "method", "" ) == "echo" ) {
      }
      return message;
   }
   Json heardAny() {
      std::optional< std::string > message;
      scheduler_.run( [&] {
         char bytes[4096];
         ssize_t size = 1;
         while ( size > 0 && isReadable( fd_ ) ) {
            size = ::recv( fd_, bytes, sizeof bytes, 0 );
            received_.add(
               { bytes, static_cast< std::size_t >( std::max< ssize_t >( size, 0 ) ) } );
         }
         message = size > 0 ? received_.next() : "{}";
         return message.has_value();
      } );
      return Json::parse( *message );
   }

 private:
   static bool isReadable( int fd ) {
      pollfd polled{ fd, POLLIN, 0 };
      return ::poll( &polled, 1, 0 ) == 1;
   }

   Orb::TaskScheduler & scheduler_;
   std::string folder_;
   Splitter received_;
   int listening_ = -1;
   int fd_ = -1;
};

}  // namespace Ovsdb
