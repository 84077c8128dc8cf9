#include <hiredis/hiredis.h>

#include "stores/redis/RedisStore.h"

/* What the processes of a switch say of themselves, for each other and for people. */

namespace Redis {

bool RedisStore::processIs( std::vector< std::pair< std::string, std::string > > const & fields ) {
   if ( takes() != Takes::now ) {
      return false;
   }
   if ( fields != process_ ) {
      process_ = fields;
      begin();
      std::string const key = keys_.process( setup_.role );
      std::vector< std::string_view > words{ "HSET", key };
      for ( auto const & [name, value] : fields ) {
         words.push_back( name );
         words.push_back( value );
      }
      link_->commands().send( words );
      flush();
   }
   return true;
}

void RedisStore::settle( std::function< void() > settled ) {
   if ( !link_->isUp() ) {
      return;
   }
   // What was told before this answer came on the other connection may still be unread: it is
   // asked for in a turn behind that.
   link_->commands().send(
      { "ECHO", "" }, ofNow( [this, settled = std::move( settled )]( redisReply const & ) {
         setup_.scheduler->post( [this, settled, attempt = attempt_] {
            if ( attempt != attempt_ ) {
               return;
            }
            !isReading_ && changed_.empty() && applying_ == 0 ? settled() : settle( settled );
         } );
      } ) );
}

void RedisStore::askProcess( std::string const & role,
                             std::function< void( Process const & ) > answer ) {
   if ( !link_->isUp() ) {
      return;
   }
   auto const found = std::make_shared< Process >();
   Connection & server = link_->commands();
   server.send( { "GET", keys_.lease( role ) }, ofNow( [this, found]( redisReply const & reply ) {
                   // The server may not be the one any more that has the keys.
                   if ( !failed( reply ) ) {
                      found->holder = textOf( reply ).empty() ? "" : shownHolder( textOf( reply ) );
                   }
                } ) );
   server.send( { "PTTL", keys_.lease( role ) }, [found]( redisReply const & reply ) {
      found->seconds = static_cast< Orb::Seconds >( reply.integer ) / 1000;
   } );
   server.send( { "HGETALL", keys_.process( role ) },
                [found, answer = std::move( answer )]( redisReply const & reply ) {
                   auto const words = elementsOf( reply );
                   for ( std::size_t i = 0; i + 1 < words.size(); i += 2 ) {
                      found->fields.emplace( textOf( *words[i] ), textOf( *words[i + 1] ) );
                   }
                   answer( *found );
                } );
}

}  // namespace Redis
