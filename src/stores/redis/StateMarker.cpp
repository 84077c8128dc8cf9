#include "stores/redis/StateMarker.h"

#include <hiredis/hiredis.h>

#include <chrono>
#include <random>
#include <utility>

namespace Redis {

namespace {

std::string newId() {
   constexpr char digits[] = "0123456789abcdef";
   std::random_device random;
   std::string id;
   for ( int i = 0; i != 32; ++i ) {
      id += digits[random() % 16];
   }
   return id;
}

std::string secondsNow() {
   auto const now = std::chrono::system_clock::now().time_since_epoch();
   return std::to_string( std::chrono::duration_cast< std::chrono::seconds >( now ).count() );
}

}  // namespace

StateMarker::StateMarker( Kel::Ptr< Orb::TaskScheduler > scheduler, Address const & address,
                          Access const & access, std::string const & switchName, bool accept,
                          std::function< void( Outcome const & ) > done )
   : keys_( switchName ),
     accept_( accept ),
     done_( std::move( done ) ),
     link_( std::move( scheduler ), address, access, keys_,
            { .up = [this] { make(); },
              .down =
                 [this]( std::string const & reason ) {
                    if ( !reason.empty() ) {
                       std::exchange( done_, []( Outcome const & ) {} )( { .error = reason } );
                    }
                 },
              .changed = []( auto ) {},
              .allChanged = [] {} } ) {}

void StateMarker::make() {
   Connection & server = link_.commands();
   std::string const key = keys_.state();
   server.send( { "MULTI" } );
   if ( accept_ ) {
      server.send( { "HINCRBY", key, "accepted", "1" } );
   } else {
      server.send( { "HSETNX", key, "created", secondsNow() } );
   }
   server.send( { "HSETNX", key, "id", newId() } );
   server.send( { "HGET", key, "id" } );
   server.send( { "EXEC" }, [this]( redisReply const & reply ) {
      auto const answers = elementsOf( reply );
      if ( answers.size() != 3 || textOf( *answers[2] ).empty() ) {
         std::string error = link_.commands().droppedError();
         for ( redisReply const * answer : answers ) {
            if ( error.empty() ) {
               error = errorOf( *answer );
            }
         }
         if ( error.empty() ) {
            error = errorOf( reply );
         }
         link_.fail( error.empty() ? "the state's marker is not usable" : error );
      } else {
         std::exchange( done_, []( Outcome const & ) {} )(
            { .id = std::string( textOf( *answers[2] ) ), .made = answers[1]->integer == 1 } );
      }
   } );
}

}  // namespace Redis
