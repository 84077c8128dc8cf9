// Makes inputs for fuzz_files from scenarios: fuzz_seeds DIRECTORY SCENARIO...

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>

#include "platform/corestore/ValueText.h"
#include "scenario/Scenario.h"
#include "scenario/Switch.h"
#include "stores/sqlite/SqliteStore.h"

int main( int argc, char ** argv ) {
   if ( argc < 3 ) {
      std::cerr << "usage: fuzz_seeds DIRECTORY SCENARIO...\n";
      return 2;
   }
   std::filesystem::path const directory = argv[1];
   std::filesystem::create_directories( directory );
   setenv( "FLASHLOGDIR", directory.c_str(), 1 );
   auto const bytes = []( std::filesystem::path const & file ) {
      std::ostringstream text;
      text << std::ifstream( file, std::ios::binary ).rdbuf();
      return text.str();
   };
   for ( int i = 2; i != argc; ++i ) {
      Scenarios::Scenario const scenario = Scenarios::readScenario( argv[i] );
      std::filesystem::path const file = directory / "s.db";
      std::filesystem::remove( file );
      std::ostringstream rows;
      {
         Corestore::SqliteStore store( file );
         Scenarios::Switch device( { .simulated = scenario.simulated, .store = &store } );
         for ( std::size_t step = 0; step != scenario.steps.size(); ++step ) {
            Scenarios::playStep( device, scenario, step );
         }
         store.load( [&]( Corestore::Row const & row ) {
            rows << row.path << '\t' << Corestore::jsonLine( row.value ) << '\n';
         } );
      }
      std::string const name = std::filesystem::path( argv[i] ).stem();
      std::ofstream( directory / ( name + "-rows" ) ) << 'R' << rows.str();
      std::ofstream( directory / ( name + "-state" ), std::ios::binary ) << 'S' << bytes( file );
      std::filesystem::remove( file );
   }
   for ( auto const & trace : std::filesystem::directory_iterator( directory ) ) {
      if ( trace.path().extension() == ".fl" ) {
         std::ofstream( directory / "trace", std::ios::binary )
            << 'D' << bytes( trace.path() ).substr( 0, 100'000 );
         std::filesystem::remove( trace.path() );
         break;
      }
   }
}
