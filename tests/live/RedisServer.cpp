#include "live/RedisServer.h"

#include <hiredis/hiredis.h>

#include <csignal>
#include <fstream>
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

RedisServer::RedisServer( bool durable, std::vector< std::string > options )
   : socket_( folder_.path() / "redis.sock" ),
     durable_( durable ),
     options_( std::move( options ) ) {
   // A connection to a server that was killed tells so by itself.
   std::signal( SIGPIPE, SIG_IGN );
   start();
}

RedisServer::~RedisServer() {
   redisFree( client_ );
}

void RedisServer::start() {
   std::vector< std::string > words{ "redis-server",
                                     "--port",
                                     "0",
                                     "--unixsocket",
                                     socket_,
                                     "--dir",
                                     folder_.path(),
                                     "--save",
                                     "",
                                     "--appendonly",
                                     durable_ ? "yes" : "no",
                                     "--auto-aof-rewrite-percentage",
                                     "0",
                                     "--daemonize",
                                     "no",
                                     "--loglevel",
                                     "warning" };
   words.insert( words.end(), options_.begin(), options_.end() );
   process_ = std::make_unique< Process >( words, folder_.path() / "redis.log" );
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
   read_ = 0;
}

void RedisServer::keepData() const {
   std::filesystem::remove_all( folder_.path() / "kept" );
   std::filesystem::copy( folder_.path() / "appendonlydir", folder_.path() / "kept",
                          std::filesystem::copy_options::recursive );
}

void RedisServer::restoreData() const {
   std::filesystem::remove_all( folder_.path() / "appendonlydir" );
   std::filesystem::copy( folder_.path() / "kept", folder_.path() / "appendonlydir",
                          std::filesystem::copy_options::recursive );
}

std::vector< RedisServer::Words > RedisServer::written() {
   std::vector< Words > commands;
   std::ifstream log( folder_.path() / "appendonlydir" / "appendonly.aof.1.incr.aof",
                      std::ios::binary );
   log.seekg( static_cast< std::streamoff >( read_ ) );
   // "*2", then "$3", "DEL", "$1", "k", each with its end of line.
   auto const number = [&log] {
      std::string line;
      std::getline( log, line );
      return log && line.size() > 2 ? std::stoul( line.substr( 1 ) ) : 0;
   };
   for ( std::size_t count; ( count = number() ) != 0; ) {
      Words words( count );
      for ( std::string & word : words ) {
         word.resize( number() );
         log.read( word.data(), static_cast< std::streamsize >( word.size() ) );
         log.ignore( 2 );
      }
      // The last one may be on its way.
      if ( !log ) {
         break;
      }
      read_ = static_cast< std::size_t >( log.tellg() );
      commands.push_back( std::move( words ) );
   }
   return commands;
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
