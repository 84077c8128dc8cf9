#include "switch/openflow/Connection.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include "switch/openflow/Bytes.h"
#include "switch/openflow/Program.h"
#include "switch/openflow/Request.h"

namespace OpenFlow {

namespace {

/** So much is taken from the socket in one turn. */
constexpr std::size_t pieceSize = 64UL * 1024;
/** What is kept of the memory for what goes out. */
constexpr std::size_t keptSize = 1024UL * 1024;
/** Requests are numbered anew from there, so that the numbers of one follow each other. */
constexpr std::uint32_t lastFirstXid = 0x80000000;

/** A socket that is connected, or the reason why there is none. */
std::pair< int, std::string > connected( std::string const & socket ) {
   sockaddr_un address{};
   address.sun_family = AF_UNIX;
   if ( socket.size() >= sizeof address.sun_path ) {
      return { -1, "the socket's path is too long" };
   }
   std::copy( socket.begin(), socket.end(), address.sun_path );
   int const fd = ::socket( AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0 );
   if ( fd < 0 ||
        ::connect( fd, reinterpret_cast< sockaddr const * >( &address ), sizeof address ) != 0 ) {
      std::string reason = std::strerror( errno );
      if ( fd >= 0 ) {
         ::close( fd );
      }
      return { -1, std::move( reason ) };
   }
   return { fd, {} };
}

}  // namespace

Connection::Connection( Kel::Ptr< Orb::TaskScheduler > scheduler, std::string socket, Events events,
                        Timing const & timing )
   : scheduler_( std::move( scheduler ) ),
     socket_( std::move( socket ) ),
     events_( std::move( events ) ),
     timing_( timing ),
     retryAfter_( timing.firstRetry ) {
   // Never from within the constructor.
   scheduler_->arm( *this, scheduler_->now() );
}

Connection::~Connection() {
   scheduler_->disarm( *this );
   scheduler_->unwatch( *this );
   if ( fd_ >= 0 ) {
      ::close( fd_ );
   }
}

void Connection::connect() {
   auto const [fd, reason] = connected( socket_ );
   if ( fd < 0 ) {
      lost( socket_ + ": " + reason );
      return;
   }
   fd_ = fd;
   state_ = State::greeting;
   heard_ = scheduler_->now();
   suspected_ = false;
   scheduler_->arm( *this, heard_ + timing_.askAfter );
   send( helloMessage( 0 ) );
}

void Connection::due() {
   Orb::Seconds const now = scheduler_->now();
   if ( state_ == State::waiting ) {
      connect();
      return;
   }
   if ( now - heard_ < timing_.silence ) {
      suspected_ = false;
   } else if ( std::exchange( suspected_, true ) ) {
      lost( "no answer" );
      return;
   }
   // Too long: it may be this process that stood still. What has come meanwhile is read before.
   scheduler_->arm( *this, now + timing_.askAfter );
   if ( state_ == State::up && now - heard_ >= timing_.askAfter ) {
      send( echoMessage( MessageType::echoRequest, 0, {} ) );
   }
}

void Connection::lost( std::string const & reason ) {
   scheduler_->disarm( *this );
   scheduler_->unwatch( *this );
   if ( fd_ >= 0 ) {
      ::close( std::exchange( fd_, -1 ) );
   }
   bool const wasUp = std::exchange( state_, State::waiting ) == State::up;
   received_.clear();
   unsent_.clear();
   sent_ = 0;
   requests_.clear();
   prepared_.clear();
   // One that takes nothing but connections is no better than none.
   if ( wasUp && scheduler_->now() - upSince_ >= timing_.lastRetry ) {
      retryAfter_ = timing_.firstRetry;
   }
   scheduler_->arm( *this, scheduler_->now() + retryAfter_ );
   retryAfter_ = std::min( 2 * retryAfter_, timing_.lastRetry );
   if ( bool const isKnown = std::exchange( told_, true ); wasUp || !isKnown ) {
      events_.down( reason );
   }
}

void Connection::watch() {
   if ( fd_ >= 0 ) {
      int const events = POLLIN | ( unsent_.empty() ? 0 : POLLOUT );
      scheduler_->watch( *this, fd_, static_cast< short >( events ) );
   }
}

void Connection::ready( short events ) {
   if ( events & POLLOUT ) {
      write();
   }
   if ( events & ~POLLOUT ) {
      read();
   }
   watch();
}

void Connection::send( std::string_view bytes ) {
   unsent_.append( bytes );
   write();
   watch();
}

// A connection that has failed shows so when it is read.
void Connection::write() {
   while ( fd_ >= 0 && sent_ != unsent_.size() ) {
      ssize_t const sent =
         ::send( fd_, unsent_.data() + sent_, unsent_.size() - sent_, MSG_NOSIGNAL );
      if ( sent < 0 && errno == EINTR ) {
         continue;
      }
      if ( sent < 0 ) {
         return;
      }
      sent_ += static_cast< std::size_t >( sent );
   }
   unsent_.clear();
   sent_ = 0;
   if ( unsent_.capacity() > keptSize ) {
      unsent_.shrink_to_fit();
   }
}

void Connection::read() {
   std::size_t const before = received_.size();
   received_.resize( before + pieceSize );
   ssize_t const size = ::recv( fd_, received_.data() + before, pieceSize, 0 );
   int const error = errno;
   received_.resize( before + static_cast< std::size_t >( std::max< ssize_t >( size, 0 ) ) );
   if ( size < 0 && ( error == EAGAIN || error == EINTR ) ) {
      return;
   }
   if ( size <= 0 ) {
      lost( size == 0 ? "closed" : std::strerror( error ) );
      return;
   }
   heard_ = scheduler_->now();
   takeMessages();
}

void Connection::takeMessages() {
   std::size_t taken = 0;
   std::string what = "message";
   try {
      while ( auto const message = messageIn( std::string_view( received_ ).substr( taken ) ) ) {
         what = nameOf( message->type );
         taken += message->size;
         take( *message );
      }
   } catch ( DecodeError const & error ) {
      lost( what + ": " + error.what() );
      return;
   }
   received_.erase( 0, taken );
}

void Connection::take( Message const & message ) {
   if ( message.type == MessageType::echoRequest ) {
      send( echoMessage( MessageType::echoReply, message.xid, message.body ) );
   } else if ( message.type == MessageType::hello ) {
      takeHello( message );
   } else if ( state_ != State::up ) {
      throw DecodeError( message.type == MessageType::error ? errorIn( message ).text()
                                                            : "before any greeting" );
   } else if ( message.type == MessageType::portStatus ) {
      auto const [change, port] = portStatusIn( message );
      events_.portChanged( change, port );
   } else if ( message.type != MessageType::echoReply ) {
      takeNews( message );
      takeAnswer( message );
   }
}

void Connection::takeHello( Message const & message ) {
   if ( !( versionsIn( message ) >> protocolVersion & 1 ) ) {
      throw DecodeError( "no OpenFlow 1.4" );
   }
   if ( state_ == State::up ) {
      return;
   }
   state_ = State::up;
   isPaused_ = false;
   upSince_ = scheduler_->now();
   told_ = false;
   send( setAsyncMessage( 0 ) );
   events_.up();
}

void Connection::takeNews( Message const & message ) {
   if ( message.type != MessageType::multipartReply ) {
      return;
   }
   MultipartReply const reply = multipartIn( message );
   if ( reply.type != Multipart::flowMonitor ) {
      return;
   }
   for ( MonitorNews & news : monitorNewsIn( reply ) ) {
      if ( news.kind == MonitorNews::Kind::changed ) {
         news.update.wasMissed = isPaused_;
         events_.flowChanged( news.update );
      } else if ( news.kind == MonitorNews::Kind::paused ) {
         isPaused_ = true;
      } else if ( news.kind == MonitorNews::Kind::resumed ) {
         isPaused_ = false;
         events_.changesMissed();
      }
   }
}

void Connection::takeAnswer( Message const & message ) {
   bool const isMine = !requests_.empty() && message.xid >= firstXid_ && message.xid <= lastXid_;
   if ( !isMine ) {
      if ( message.type == MessageType::error ) {
         throw DecodeError( errorIn( message ).text() );
      }
      return;
   }
   Outgoing out( unsent_, lastXid_ );
   std::uint32_t const before = lastXid_;
   bool const isLast = requests_.front()->take( message, out );
   if ( lastXid_ != before ) {
      // It has numbers that others were to have.
      prepared_.clear();
   }
   send( {} );
   if ( isLast ) {
      auto const ended = std::move( requests_.front() );
      requests_.pop_front();
      next();
      ended->end();
      prepare();
   }
}

void Connection::request( std::unique_ptr< Request > request ) {
   if ( isUp() ) {
      requests_.push_back( std::move( request ) );
      if ( requests_.size() == 1 ) {
         next();
      } else {
         prepare();
      }
   }
}

void Connection::next() {
   if ( requests_.empty() ) {
      return;
   }
   if ( lastXid_ > lastFirstXid ) {
      lastXid_ = 0;
   }
   firstXid_ = lastXid_ + 1;
   if ( prepared_.empty() ) {
      Outgoing out( unsent_, lastXid_ );
      requests_.front()->begin( out );
   } else {
      unsent_ += std::exchange( prepared_, {} );
      lastXid_ = lastPreparedXid_;
   }
   send( {} );
}

void Connection::prepare() {
   if ( requests_.size() > 1 && prepared_.empty() && lastXid_ <= lastFirstXid ) {
      lastPreparedXid_ = lastXid_;
      Outgoing out( prepared_, lastPreparedXid_ );
      requests_[1]->begin( out );
   }
}

void Connection::portDescriptions( std::function< void( std::vector< Port > ) > done ) {
   request( std::make_unique< PortDescriptionsRequest >( std::move( done ) ) );
}

void Connection::readFlows( std::uint8_t table, std::function< void( std::vector< Flow > ) > chunk,
                            std::function< void() > done ) {
   request( std::make_unique< ReadFlowsRequest >( table, std::move( chunk ), std::move( done ) ) );
}

void Connection::program( std::vector< FlowChange > changes,
                          std::function< void( std::vector< Refusal > ) > done ) {
   request( std::make_unique< Program >( std::move( changes ), std::move( done ) ) );
}

void Connection::monitorFlows( std::vector< std::uint8_t > tables, std::function< void() > done ) {
   request( std::make_unique< MonitorRequest >( std::move( tables ), std::move( done ) ) );
}

}  // namespace OpenFlow
