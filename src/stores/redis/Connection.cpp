#include "stores/redis/Connection.h"

// The library's strings are declared for C alone.
extern "C" {
#include <hiredis/sds.h>
}

#include <hiredis/async.h>
#include <poll.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstring>
#include <utility>

namespace Redis {

namespace {

/** A server that doesn't answer a connection attempt within so many seconds isn't there. */
constexpr Orb::Seconds connectTime = 5;
/** What has gathered goes out in pieces of this size, so that the server is at work meanwhile. */
constexpr std::size_t pieceSize = std::size_t{ 64 } * 1024;

}  // namespace

Connection::Connection( Kel::Ptr< Orb::TaskScheduler > scheduler, Address const & address,
                        Closed closed )
   : scheduler_( std::move( scheduler ) ),
     closed_( std::move( closed ) ),
     isRemote_( address.socket.empty() ) {
   context_ = address.socket.empty() ? redisAsyncConnect( address.host.c_str(), address.port )
                                     : redisAsyncConnectUnix( address.socket.c_str() );
   if ( !context_ || context_->err ) {
      std::string const reason = context_ ? context_->errstr : "out of memory";
      if ( auto * const failed = std::exchange( context_, nullptr ) ) {
         redisAsyncFree( failed );
      }
      // Never from within the constructor.
      scheduler_->post( [told = std::move( closed_ ), reason] { told( reason ); } );
      return;
   }
   attach();
   scheduler_->arm( *this, scheduler_->now() + connectTime );
}

void Connection::attach() {
   context_->data = this;
   context_->ev.data = this;
   context_->ev.addRead = []( void * data ) { of( data ).waitFor( of( data ).events_ | POLLIN ); };
   context_->ev.delRead = []( void * data ) { of( data ).waitFor( of( data ).events_ & ~POLLIN ); };
   context_->ev.addWrite = []( void * data ) {
      of( data ).waitFor( of( data ).events_ | POLLOUT );
   };
   context_->ev.delWrite = []( void * data ) {
      of( data ).waitFor( of( data ).events_ & ~POLLOUT );
   };
   // The context is going, whoever has ended it.
   context_->ev.cleanup = []( void * data ) {
      of( data ).scheduler_->unwatch( of( data ) );
      of( data ).scheduler_->disarm( of( data ) );
      of( data ).context_ = nullptr;
   };
   redisAsyncSetConnectCallback( context_, []( redisAsyncContext const * context, int status ) {
      auto * const connection = static_cast< Connection * >( context->data );
      connection->scheduler_->disarm( *connection );
      if ( status != REDIS_OK ) {
         connection->close( context->errstr );
      } else if ( connection->isRemote_ ) {
         redisEnableKeepAlive( const_cast< redisContext * >( &context->c ) );
      }
   } );
   redisAsyncSetDisconnectCallback( context_, []( redisAsyncContext const * context, int status ) {
      static_cast< Connection * >( context->data )
         ->close( status == REDIS_OK ? "closed" : context->errstr );
   } );
   // Learns of the connection by being able to write.
   waitFor( POLLOUT );
}

Connection::~Connection() {
   closed_ = {};
   if ( context_ ) {
      redisAsyncFree( context_ );
   }
}

void Connection::waitFor( int events ) {
   if ( context_ && std::exchange( events_, events ) != events ) {
      scheduler_->watch( *this, context_->c.fd, static_cast< short >( events ) );
   }
}

void Connection::ready( short events ) {
   if ( context_ && ( events & POLLOUT ) ) {
      write();
   }
   if ( context_ && ( events & ~POLLOUT ) ) {
      redisAsyncHandleRead( context_ );
   }
}

// The library would move all that is left to the front of its buffer at each piece that goes out.
void Connection::write() {
   redisContext & plain = context_->c;
   std::size_t const size = sdslen( plain.obuf );
   if ( ( plain.flags & REDIS_CONNECTED ) && sent_ != size ) {
      ssize_t const sent = ::send( plain.fd, plain.obuf + sent_, size - sent_, MSG_NOSIGNAL );
      sent_ += sent > 0 ? static_cast< std::size_t >( sent ) : 0;
      if ( sent_ != size && ( sent > 0 || errno == EAGAIN || errno == EINTR ) ) {
         return;
      }
      sds const rest = sdsnewlen( plain.obuf + sent_, size - std::exchange( sent_, 0 ) );
      sdsfree( std::exchange( plain.obuf, rest ) );
   }
   // Connects, meets the error, or learns that nothing is left.
   redisAsyncHandleWrite( context_ );
}

void Connection::due() {
   // Frees the context, which tells of nothing by itself while it is connecting.
   redisAsyncFree( context_ );
   close( "no answer" );
}

void Connection::close( std::string const & reason ) {
   answers_.clear();
   if ( closed_ && !silent_ ) {
      scheduler_->post( [told = std::exchange( closed_, {} ), reason] { told( reason ); } );
   }
}

void Connection::send( Words words, Answer answer ) {
   if ( !context_ ) {
      return;
   }
   texts_.clear();
   sizes_.clear();
   for ( std::string_view word : words ) {
      texts_.push_back( word.data() );
      sizes_.push_back( word.size() );
   }
   redisCallbackFn * answered = []( redisAsyncContext * context, void * reply, void * ) {
      if ( reply && !errorOf( *static_cast< redisReply const * >( reply ) ).empty() ) {
         static_cast< Connection * >( context->data )->droppedError_ =
            errorOf( *static_cast< redisReply const * >( reply ) );
      }
   };
   if ( answer ) {
      answers_.push_back( std::move( answer ) );
      answered = []( redisAsyncContext * context, void * reply, void * ) {
         auto & connection = *static_cast< Connection * >( context->data );
         if ( reply && !connection.silent_ && !connection.answers_.empty() ) {
            Answer const taker = std::move( connection.answers_.front() );
            connection.answers_.pop_front();
            taker( *static_cast< redisReply const * >( reply ) );
         }
      };
   }
   redisAsyncCommandArgv( context_, answered, nullptr, static_cast< int >( texts_.size() ),
                          texts_.data(), sizes_.data() );
   if ( sdslen( context_->c.obuf ) - sent_ >= pieceSize ) {
      write();
   }
}

void Connection::subscribe( std::string_view channel, Answer message ) {
   if ( !context_ ) {
      return;
   }
   message_ = std::move( message );
   char const * const texts[] = { "SUBSCRIBE", channel.data() };
   std::size_t const sizes[] = { std::strlen( texts[0] ), channel.size() };
   redisAsyncCommandArgv(
      context_,
      []( redisAsyncContext * context, void * reply, void * ) {
         auto & connection = *static_cast< Connection * >( context->data );
         if ( reply && !connection.silent_ ) {
            connection.message_( *static_cast< redisReply const * >( reply ) );
         }
      },
      nullptr, 2, const_cast< char const ** >( texts ), sizes );
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
