#include "stores/redis/Connection.h"

#include <hiredis/hiredis.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <utility>

/* The library parses what the server says. Commands are gathered here: it would copy each of them
 * twice, and keep a list entry and a call for each reply, be it one that nobody wants. */

namespace Redis {

namespace {

/** A server that doesn't answer a connection attempt within so many seconds isn't there. */
constexpr Orb::Seconds connectTime = 5;
/** What has gathered goes out in pieces of these sizes, so that the server is at work meanwhile. */
constexpr std::size_t firstPiece = std::size_t{ 4 } * 1024;
constexpr std::size_t largestPiece = std::size_t{ 64 } * 1024;

/** The line before a word, or before a command's words, that tells how much follows. */
class CountLine {
 public:
   CountLine( char kind, std::size_t count ) {
      text_[0] = kind;
      end_ = std::to_chars( text_ + 1, text_ + 21, count ).ptr;
      *end_++ = '\r';
      *end_++ = '\n';
   }
   operator std::string_view() const { return { text_, end_ }; }

 private:
   char text_[24];
   char * end_;
};

void addNumber( std::string & text, char kind, std::size_t number ) {
   text += CountLine( kind, number );
}

/** The library would end the process where it has no memory for a path, and cut a long one. */
int openSocket( std::string const & path ) {
   sockaddr_un address{};
   address.sun_family = AF_UNIX;
   if ( path.size() >= sizeof address.sun_path ) {
      errno = ENAMETOOLONG;
      return -1;
   }
   std::ranges::copy( path, address.sun_path );
   int const fd = ::socket( AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0 );
   if ( fd != -1 &&
        ::connect( fd, reinterpret_cast< sockaddr const * >( &address ), sizeof address ) != 0 ) {
      int const error = errno;
      ::close( fd );
      errno = error;
      return -1;
   }
   return fd;
}

/** Null, with a reason in `errno`, for none. */
redisContext * contextFor( Address const & address ) {
   if ( address.socket.empty() ) {
      errno = ENOMEM;
      return redisConnectNonBlock( address.host.c_str(), address.port );
   }
   int const fd = openSocket( address.socket );
   redisContext * const context = fd == -1 ? nullptr : redisConnectFd( fd );
   if ( context ) {
      context->connection_type = REDIS_CONN_UNIX;
      context->flags &= ~REDIS_BLOCK;
   } else if ( fd != -1 ) {
      ::close( fd );
      errno = ENOMEM;
   }
   return context;
}

}  // namespace

void CommandText::add( std::initializer_list< std::string_view > parts ) {
   std::size_t size = 0;
   for ( std::string_view part : parts ) {
      size += part.size();
   }
   // Words are what a turn is made of: each is put where it goes at once.
   CountLine const count( '$', size );
   std::string_view const line( count );
   std::size_t const begin = words_.size();
   words_.resize( begin + line.size() + size + 2 );
   char * to = std::ranges::copy( line, words_.data() + begin ).out;
   for ( std::string_view part : parts ) {
      to = std::ranges::copy( part, to ).out;
   }
   to[0] = '\r';
   to[1] = '\n';
   ++count_;
}

void CommandText::add( CommandText const & more ) {
   words_ += more.words_;
   count_ += more.count_;
}

void CommandText::clear() {
   words_.clear();
   count_ = 0;
}

Connection::Connection( Kel::Ptr< Orb::TaskScheduler > scheduler, Address const & address,
                        Closed closed )
   : scheduler_( std::move( scheduler ) ),
     closed_( std::move( closed ) ),
     pieceSize_( firstPiece ) {
   context_ = contextFor( address );
   if ( !context_ || context_->err ) {
      close( context_ ? context_->errstr : std::strerror( errno ) );
      return;
   }
   // Learns of the connection by being able to write.
   waitFor( POLLOUT );
   scheduler_->arm( *this, scheduler_->now() + connectTime );
}

Connection::~Connection() {
   closed_ = {};
   close( "" );
}

void Connection::waitFor( int events ) {
   if ( std::exchange( events_, events ) != events ) {
      scheduler_->watch( *this, context_->fd, static_cast< short >( events ) );
   }
}

void Connection::ready( short events ) {
   if ( !isConnected_ ) {
      connected();
   }
   if ( context_ && isConnected_ && ( events & POLLOUT ) ) {
      write();
   }
   if ( context_ && isConnected_ && ( events & ~POLLOUT ) ) {
      read();
   }
}

void Connection::connected() {
   int error = 0;
   socklen_t size = sizeof error;
   if ( ::getsockopt( context_->fd, SOL_SOCKET, SO_ERROR, &error, &size ) != 0 ) {
      error = errno;
   }
   if ( error != 0 ) {
      close( std::strerror( error ) );
   } else {
      isConnected_ = true;
      if ( context_->connection_type == REDIS_CONN_TCP ) {
         redisEnableKeepAlive( context_ );
      }
      scheduler_->disarm( *this );
      waitFor( POLLIN | POLLOUT );
   }
}

void Connection::write() {
   while ( sent_ != out_.size() ) {
      ssize_t const sent =
         ::send( context_->fd, out_.data() + sent_, out_.size() - sent_, MSG_NOSIGNAL );
      if ( sent >= 0 ) {
         sent_ += static_cast< std::size_t >( sent );
      } else if ( errno == EAGAIN ) {
         break;
      } else if ( errno != EINTR ) {
         close( std::strerror( errno ) );
         return;
      }
   }
   // What is left moves seldom, and a large turn leaves no large buffer.
   if ( sent_ >= out_.size() - sent_ ) {
      out_.erase( 0, std::exchange( sent_, 0 ) );
      if ( out_.capacity() > 4 * largestPiece && out_.empty() ) {
         out_.shrink_to_fit();
      }
   }
   nextPiece_ = out_.size() + pieceSize_;
   waitFor( out_.empty() ? POLLIN : POLLIN | POLLOUT );
}

void Connection::read() {
   bool const isWhole = redisBufferRead( context_ ) == REDIS_OK;
   for ( void * reply = nullptr; context_ && !silent_; reply = nullptr ) {
      if ( redisGetReplyFromReader( context_, &reply ) != REDIS_OK || !reply ) {
         break;
      }
      take( *static_cast< redisReply const * >( reply ) );
      freeReplyObject( reply );
   }
   // What had come before the end was read.
   if ( context_ && ( !isWhole || context_->err ) ) {
      close( context_->errstr );
   }
}

void Connection::take( redisReply const & reply ) {
   if ( awaited_.empty() ) {
      if ( message_ ) {
         message_( reply );
      }
      return;
   }
   // It stays in its place while it is at work, whatever it sends.
   Awaited & next = awaited_.front();
   if ( next.answer ) {
      next.answer( reply );
   } else if ( std::string_view const error = errorOf( reply ); !error.empty() ) {
      droppedError_ = error;
   }
   if ( --next.count == 0 ) {
      awaited_.pop_front();
   }
}

void Connection::due() {
   close( "no answer" );
}

void Connection::close( std::string const & reason ) {
   if ( context_ ) {
      scheduler_->unwatch( *this );
      scheduler_->disarm( *this );
      redisFree( std::exchange( context_, nullptr ) );
   }
   // Never from within the constructor or a call.
   if ( closed_ && !silent_ ) {
      scheduler_->post( [told = std::exchange( closed_, {} ), reason] { told( reason ); } );
   }
}

void Connection::awaitReply( Answer answer ) {
   if ( answer || awaited_.empty() || awaited_.back().answer ) {
      awaited_.push_back( { std::move( answer ), 0 } );
   }
}

void Connection::send( Words words, Answer answer ) {
   awaitReply( std::move( answer ) );
   sendOn( words );
}

void Connection::send( CommandText const & command, Answer answer ) {
   awaitReply( std::move( answer ) );
   if ( context_ ) {
      ++awaited_.back().count;
      addNumber( out_, '*', command.count_ );
      out_ += command.words_;
      added();
   }
}

void Connection::sendOn( Words words ) {
   if ( context_ ) {
      ++awaited_.back().count;
      add( words );
   }
}

void Connection::add( Words words ) {
   addNumber( out_, '*', words.size() );
   for ( std::string_view word : words ) {
      addNumber( out_, '$', word.size() );
      out_ += word;
      out_ += "\r\n";
   }
   added();
}

void Connection::added() {
   if ( !isConnected_ ) {
      return;
   }
   if ( out_.size() >= nextPiece_ ) {
      pieceSize_ = std::min( 2 * pieceSize_, largestPiece );
      write();
   } else {
      waitFor( POLLIN | POLLOUT );
   }
}

void Connection::flush() {
   if ( context_ && isConnected_ ) {
      pieceSize_ = firstPiece;
      write();
   }
}

void Connection::subscribe( std::string_view channel, Answer message ) {
   message_ = std::move( message );
   if ( context_ ) {
      std::string_view const words[] = { "SUBSCRIBE", channel };
      add( words );
   }
}

std::string_view errorOf( redisReply const & reply ) {
   return reply.type == REDIS_REPLY_ERROR ? std::string_view( reply.str, reply.len )
                                          : std::string_view();
}

std::string_view textOf( redisReply const & reply ) {
   return reply.type == REDIS_REPLY_STRING || reply.type == REDIS_REPLY_STATUS
             ? std::string_view( reply.str, reply.len )
             : std::string_view();
}

bool isNothing( redisReply const & reply ) {
   return reply.type == REDIS_REPLY_NIL;
}

std::span< redisReply * const > elementsOf( redisReply const & reply ) {
   return reply.type == REDIS_REPLY_ARRAY ? std::span( reply.element, reply.elements )
                                          : std::span< redisReply * const >();
}

}  // namespace Redis
