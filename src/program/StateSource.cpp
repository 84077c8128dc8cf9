#include "program/StateSource.h"

#include <filesystem>
#include <iostream>

#include "documents/Document.h"
#include "documents/NumberNames.h"
#include "scenario/Scenario.h"
#include "stores/sqlite/SqliteStore.h"
#include "views/tables/TextTable.h"

namespace Program {

namespace {

// None of these is ever destroyed: at the end of the process the state stays as it is.

Scenarios::Switch const & ofStateFile( std::string const & file ) {
   Corestore::SqliteStore store( file, Corestore::SqliteStore::Mode::read );
   try {
      return *new Scenarios::Switch(
         { .with = Scenarios::Switch::With::StateAlone, .initial = &store } );
   } catch ( Kel::ValueError const & e ) {
      throw Documents::InputError( file, e );
   }
}

Scenarios::Switch const & ofDocument( std::string const & file ) {
   auto & device = *new Scenarios::Switch( { .with = Scenarios::Switch::With::StateAlone } );
   Kel::Value const document = Documents::readDocument( file );
   if ( document.member( "steps" ) ) {
      throw Documents::InputError( file, "", "is a scenario, and no state: --scenario plays it" );
   }
   try {
      device.patch( Documents::withNumbers( document ) );
   } catch ( Kel::ValueError const & e ) {
      throw Documents::InputError( file, e );
   }
   return device;
}

OpenedState ofScenario( std::string const & file ) {
   bool met = true;
   Scenarios::Scenario const scenario = openScenario( file );
   auto & device = *new Scenarios::Switch( { .simulated = scenario.simulated } );
   for ( std::size_t step = 0; step != scenario.steps.size(); ++step ) {
      for ( Documents::Unmet const & unmet : Scenarios::playStep( device, scenario, step ) ) {
         std::cerr << Views::printable( describe( scenario, unmet ) ) << std::endl;
         met = false;
      }
   }
   return { device.entityManager(), met };
}

}  // namespace

Scenarios::Scenario openScenario( std::string const & file ) {
   if ( Corestore::SqliteStore::isSuchFile( file ) && std::filesystem::file_size( file ) != 0 ) {
      throw Documents::InputError( file, "", "is the state file of a run, and no document" );
   }
   return Scenarios::readScenario( file );
}

OpenedState openState( StateSource const & source ) {
   if ( !source.scenario.empty() ) {
      return ofScenario( source.scenario );
   }
   if ( !source.live.redis.empty() ) {
      auto & state = *new LiveState( source.live );
      state.open();
      return { state.entityManager() };
   }
   Scenarios::Switch const & device = Corestore::SqliteStore::isSuchFile( source.state )
                                         ? ofStateFile( source.state )
                                         : ofDocument( source.state );
   return { device.entityManager() };
}

}  // namespace Program
