#include "switch/ovsdb/Link.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <utility>

#include "platform/kel/Value.h"

namespace Ovsdb {

namespace {

constexpr Orb::Seconds firstRetry = 0.1;
constexpr Orb::Seconds lastRetry = 1;
/** An idle connection is asked so often whether it still stands. */
constexpr Orb::Seconds pingEvery = 1;
/** A server may stand still for a while, without a loss. */
constexpr Orb::Seconds silence = 15;
/** A turn reads so often at most, so that others have theirs. */
constexpr int readsPerTurn = 16;

}  // namespace

Link::Link( Kel::Ptr< Orb::TaskScheduler > scheduler, std::string socket, Events events )
   : scheduler_( std::move( scheduler ) ),
     socket_( std::move( socket ) ),
     events_( std::move( events ) ),
     retryAfter_( firstRetry ) {
   armIn( 0 );
}

Link::~Link() {
   scheduler_->disarm( *this );
   scheduler_->unwatch( *this );
   if ( isOpen() ) {
      ::close( fd_ );
   }
}

void Link::armIn( Orb::Seconds time ) {
   scheduler_->disarm( *this );
   scheduler_->arm( *this, scheduler_->now() + time );
}

void Link::connect() {
   sockaddr_un address{};
   address.sun_family = AF_UNIX;
   if ( socket_.size() >= sizeof address.sun_path ) {
      lost( "the socket's path is too long" );
      return;
   }
   std::ranges::copy( socket_, address.sun_path );
   fd_ = ::socket( AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0 );
   // A Unix socket has its peer at once, or none.
   if ( fd_ == -1 ||
        ::connect( fd_, reinterpret_cast< sockaddr const * >( &address ), sizeof address ) != 0 ) {
      lost( std::strerror( errno ) );
      return;
   }
   openedAt_ = heardAt_ = scheduler_->now();
   suspected_ = false;
   scheduler_->watch( *this, fd_, POLLIN );
   armIn( pingEvery );
   events_.opened();
}

void Link::send( Json const & message ) {
   if ( !isOpen() ) {
      return;
   }
   toSend_ += message.dump( -1, ' ', false, Json::error_handler_t::replace );
   scheduler_->watch( *this, fd_, POLLIN | POLLOUT );
}

void Link::ready( short events ) {
   if ( events & POLLOUT ) {
      write();
   }
   if ( isOpen() && ( events & ~POLLOUT ) ) {
      read();
   }
}

void Link::write() {
   ssize_t const sent = ::send( fd_, toSend_.data(), toSend_.size(), MSG_NOSIGNAL );
   if ( sent >= 0 ) {
      toSend_.erase( 0, static_cast< std::size_t >( sent ) );
   } else if ( errno == EPIPE || errno == ECONNRESET ) {
      // Reading tells why, behind what the server has said before.
      toSend_.clear();
   } else if ( errno != EAGAIN && errno != EINTR ) {
      // The server goes on and would never hear of it.
      lost( std::strerror( errno ) );
      return;
   }
   if ( toSend_.empty() ) {
      scheduler_->watch( *this, fd_, POLLIN );
   }
}

void Link::read() {
   std::array< char, 65536 > bytes;
   for ( int reads = 0; reads != readsPerTurn && isOpen(); ++reads ) {
      ssize_t const size = ::recv( fd_, bytes.data(), bytes.size(), 0 );
      if ( size < 0 && ( errno == EAGAIN || errno == EINTR ) ) {
         return;
      }
      if ( size <= 0 ) {
         lost( size == 0 ? "the server has closed it" : std::strerror( errno ) );
         return;
      }
      heardAt_ = scheduler_->now();
      received_.add( { bytes.data(), static_cast< std::size_t >( size ) } );
      try {
         while ( auto const text = received_.next() ) {
            Json const message = Json::parse( *text, nullptr, false );
            if ( message.is_discarded() ) {
               throw Kel::ValueError( "what comes is no JSON" );
            }
            events_.message( message );
         }
      } catch ( Kel::ValueError const & e ) {
         lost( e.what() );
      }
   }
}

void Link::ping() {
   if ( scheduler_->now() - heardAt_ < silence ) {
      suspected_ = false;
   } else if ( std::exchange( suspected_, true ) ) {
      lost( "no answer" );
      return;
   }
   // When it was this process that stood still, what has come meanwhile is read before.
   armIn( pingEvery );
   if ( scheduler_->now() - heardAt_ >= pingEvery && toSend_.empty() ) {
      send( { { "id", "echo" }, { "method", "echo" }, { "params", Json::array() } } );
   }
}

void Link::due() {
   if ( isOpen() ) {
      ping();
   } else {
      connect();
   }
}

void Link::lost( std::string const & reason ) {
   scheduler_->unwatch( *this );
   if ( isOpen() ) {
      ::close( std::exchange( fd_, -1 ) );
   }
   received_ = {};
   toSend_.clear();
   // A server that refuses everything is no better than none.
   if ( scheduler_->now() - openedAt_ >= lastRetry && openedAt_ != 0 ) {
      retryAfter_ = firstRetry;
   }
   openedAt_ = 0;
   armIn( retryAfter_ );
   retryAfter_ = std::min( 2 * retryAfter_, lastRetry );
   events_.closed( reason );
}

}  // namespace Ovsdb
