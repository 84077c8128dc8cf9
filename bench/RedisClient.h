#pragma once

#include <hiredis/hiredis.h>

#include <cstdlib>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace Bench {

struct FreeReply {
   void operator()( redisReply * reply ) const { freeReplyObject( reply ); }
};
using Reply = std::unique_ptr< redisReply, FreeReply >;

inline std::string_view textOf( redisReply const & reply ) {
   return reply.str ? std::string_view( reply.str, reply.len ) : std::string_view();
}

/** A command as it goes to a server. */
inline std::string formatted( std::vector< std::string > const & words ) {
   std::string text = "*" + std::to_string( words.size() ) + "\r\n";
   for ( std::string const & word : words ) {
      text += "$" + std::to_string( word.size() ) + "\r\n" + word + "\r\n";
   }
   return text;
}

/** A client that waits for each answer: what any program does that uses hiredis plainly. */
class RedisClient {
 public:
   /** A server with an address of the form "unix:PATH". */
   explicit RedisClient( std::string const & address )
      : context_( redisConnectUnix( address.substr( address.find( ':' ) + 1 ).c_str() ) ) {}
   ~RedisClient() { redisFree( context_ ); }
   RedisClient( RedisClient const & ) = delete;
   RedisClient & operator=( RedisClient const & ) = delete;

   Reply ask( std::vector< std::string > const & words ) {
      send( formatted( words ) );
      return next();
   }
   void send( std::string const & command ) {
      redisAppendFormattedCommand( context_, command.data(), command.size() );
   }
   /** The next answer, for which all that was sent goes out. An error ends the program. */
   Reply next() {
      void * reply = nullptr;
      if ( redisGetReply( context_, &reply ) != REDIS_OK ||
           static_cast< redisReply * >( reply )->type == REDIS_REPLY_ERROR ) {
         std::abort();
      }
      return Reply( static_cast< redisReply * >( reply ) );
   }
   /** Sends the commands, so many at a time, and reads all answers. */
   void pipeline( std::span< std::string const > commands, std::size_t size ) {
      while ( !commands.empty() ) {
         auto const piece = commands.first( std::min( size, commands.size() ) );
         for ( std::string const & command : piece ) {
            send( command );
         }
         for ( std::size_t i = 0; i != piece.size(); ++i ) {
            next();
         }
         commands = commands.subspan( piece.size() );
      }
   }

 private:
   redisContext * context_;
};

}  // namespace Bench
