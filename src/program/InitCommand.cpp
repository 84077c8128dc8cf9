#include "program/InitCommand.h"

#include <iostream>
#include <optional>

#include "platform/kel/StandardError.h"
#include "stores/redis/StateMarker.h"

namespace Program {

void initState( InitOptions const & options ) {
   Kel::Ptr< Orb::TaskScheduler > const scheduler(
      new Orb::TaskScheduler( std::make_unique< Orb::RealTime >() ) );
   std::optional< Redis::StateMarker::Outcome > outcome;
   Redis::StateMarker const marker(
      scheduler, *Redis::addressOf( options.live.redis ), Redis::accessOfEnvironment(),
      options.live.switchName, options.accept,
      [&outcome]( Redis::StateMarker::Outcome const & found ) { outcome = found; } );
   scheduler->run( [&outcome] { return outcome.has_value(); } );
   if ( outcome->id.empty() ) {
      throw Corestore::StoreError( Kel::shownName( options.live.redis ) + ": " +
                                   Kel::oneLine( outcome->error ) );
   }
   std::cout << "switch " << options.live.switchName << ": state " << outcome->id
             << ( outcome->made    ? " is set up"
                  : options.accept ? " is taken as it is"
                                   : " was set up before" )
             << std::endl;
}

}  // namespace Program
