#include "live/RedisServer.h"

#include <hiredis/hiredis.h>

#include <csignal>
#include <stdexcept>

namespace Live {

namespace {

std::string textOf( redisReply const & reply ) {
   std::string text;
   switch ( reply.type ) {
      case REDIS_REPLY_INTEGER:
         return std::to_string( reply.integer );
      case REDIS_REPLY_NIL:
         return "(nil)";
      case REDIS_REPLY_ARRAY:
         for ( std::size_t i = 0; i != reply.elements; ++i ) {
            text += ( i == 0 ? "" : " " ) + textOf( *reply.element[i] );
         }
         return text;
      default:
         return { reply.str, reply.len };
   }
}

}  // namespace

RedisServer::RedisServer( bool durable )
   : socket_( folder_.path() / "redis.sock" ), durable_( durable ) {
   // A connection to a server that was killed tells so by itself.
   std::signal( SIGPIPE, SIG_IGN );
   start();
}

RedisServer::~RedisServer() {
   redisFree( client_ );
}

void RedisServer::start() {
   process_ = std::make_unique< Process >(
      std::vector< std::string >{ "redis-server", "--port", "0", "--unixsocket", socket_, "--dir",
                                  folder_.path(), "--save", "", "--appendonly",
                                  durable_ ? "yes" : "no", "--daemonize", "no", "--loglevel",
                                  "warning" },
      folder_.path() / "redis.log" );
   if ( !eventually( [this] { return ask( { "PING" } ) == "PONG"; } ) ) {
      throw std::runtime_error( "redis-server does not start: " + process_->output() );
   }
}

void RedisServer::kill() {
   process_->kill();
   std::filesystem::remove( socket_ );
}

void RedisServer::lose() {
   kill();
   std::filesystem::remove_all( folder_.path() / "appendonlydir" );
}

std::string RedisServer::ask( Words const & words ) {
   if ( client_ && client_->err ) {
      redisFree( client_ );
      client_ = nullptr;
   }
   if ( !client_ ) {
      client_ = redisConnectUnix( socket_.c_str() );
   }
   std::vector< char const * > texts;
   std::vector< std::size_t > sizes;
   for ( std::string const & word : words ) {
      texts.push_back( word.data() );
      sizes.push_back( word.size() );
   }
   if ( !client_ || client_->err ) {
      return {};
   }
   auto * const reply = static_cast< redisReply * >(
      redisCommandArgv( client_, static_cast< int >( texts.size() ), texts.data(), sizes.data() ) );
   if ( !reply ) {
      return {};
   }
   std::string const text = textOf( *reply );
   freeReplyObject( reply );
   return text;
}

}  // namespace Live
