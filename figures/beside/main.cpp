// Side by side: figure_beside [RULES...] (1000 10000 100000). The same policy on the same switch in
// one run, by agent and driver, and by a script that makes all flows anew at each change and has
// `ovs-ofctl` put them (flows.py, beside this file).

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>

#include "Steered.h"

namespace {

using Bench::median;
using Bench::Onlooker;
using Bench::Steered;
using Bench::timed;

struct Measured {
   double converge = 0;
   double change = 0;
   std::size_t changeMods = 0;
   double restart = 0;
   std::size_t restartMods = 0;
};

constexpr char const * scriptsBridge = "br1";
constexpr char const * firstAddress = "02:00:00:00:00:01";

std::string addressOf( int round ) {
   return "02:00:00:00:f0:" + std::to_string( 10 + round % 80 );
}

Measured agentAndDriver( Steered & steered ) {
   Measured measured;
   steered.enable();
   measured.converge = steered.settle();
   Onlooker onlooker( steered.openVSwitch().management( Bench::bridge ) );
   std::string const key = Bench::keyOfFlow( "flow0" );
   std::string const match( Bench::textOf( *steered.client().ask( { "HGET", key, "match" } ) ) );
   auto const change = [&]( std::string const & address ) {
      std::string changed = match;
      changed.replace( changed.find( firstAddress ), address.size(), address );
      steered.client().ask( { "HSET", key, "match", changed } );
      onlooker.await( 2 * Bench::interfacesPerSet );
   };
   std::vector< double > seconds;
   for ( int round = 0; round != 50; ++round ) {
      seconds.push_back( timed( [&] { change( addressOf( round ) ); } ) );
   }
   measured.change = median( seconds );
   measured.changeMods = 2 * Bench::interfacesPerSet + onlooker.takeChanges();
   change( firstAddress );
   steered.kill();
   measured.restart = steered.restart();
   measured.restartMods = onlooker.takeChanges();
   return measured;
}

void runOrEnd( std::vector< std::string > const & words, std::filesystem::path const & output ) {
   std::filesystem::remove( output );
   Live::Process process( words, output );
   if ( process.ended( 120 ) != 0 ) {
      std::fprintf( stderr, "%s: %s\n", words.front().c_str(), process.output().c_str() );
      std::exit( 1 );
   }
}

Measured script( Steered & steered ) {
   Live::Folder const folder;
   std::filesystem::path const state = folder.path() / "state.json";
   runOrEnd( { QORCLIENT_PROGRAM, "get", "--redis", steered.address(), "--switch", "leaf1" },
             state );
   std::ostringstream text;
   text << std::ifstream( state ).rdbuf();
   auto const run = [&] {
      runOrEnd( { "python3", QORCLIENT_FLOWS_SCRIPT, state, scriptsBridge },
                folder.path() / "output" );
   };
   steered.openVSwitch().addBridge( scriptsBridge );
   Measured measured;
   measured.converge = timed( run );
   Onlooker onlooker( steered.openVSwitch().management( scriptsBridge ) );
   std::vector< double > seconds;
   // The flow's in the policy, not that in the rules.
   std::size_t const at =
      text.str().find( firstAddress, text.str().find( "\"qor/version1/policy\"" ) );
   for ( int round = 0; round != 5; ++round ) {
      std::string changed = text.str();
      changed.replace( at, addressOf( round ).size(), addressOf( round ) );
      std::ofstream( state, std::ios::trunc ) << changed;
      seconds.push_back( timed( run ) );
      onlooker.await( 2 * Bench::interfacesPerSet );
   }
   measured.change = median( seconds );
   measured.changeMods = 2 * Bench::interfacesPerSet + onlooker.takeChanges();
   measured.restart = timed( run );
   measured.restartMods = onlooker.takeChanges();
   return measured;
}

}  // namespace

int main( int argc, char ** argv ) {
   std::string const missing = Lab::Laboratory::missing();
   if ( !missing.empty() || !Live::RedisServer::isThere() ) {
      std::fprintf( stderr, "skipped: %s\n",
                    missing.empty() ? "there is no redis-server" : missing.c_str() );
      return 77;
   }
   ::setenv( "FLASHLOG_DISABLE", "1", 1 );
   std::vector< std::uint32_t > sizes;
   for ( int i = 1; i < argc; ++i ) {
      sizes.push_back( static_cast< std::uint32_t >( std::strtoul( argv[i], nullptr, 10 ) ) );
   }
   if ( sizes.empty() ) {
      sizes = { 1'000, 10'000, 100'000 };
   }
   std::puts(
      "| rules | by | all rules, ms | one flow of ten rules changed, ms | flows written for it "
      "| started again, ms | flows written then |" );
   std::puts( "| --- | --- | --- | --- | --- | --- | --- |" );
   for ( std::uint32_t const rules : sizes ) {
      Steered steered( rules / ( Bench::flowsPerFragment * Bench::interfacesPerSet ) );
      auto const tell = [rules]( char const * by, Measured const & one ) {
         std::printf( "| %u | %s | %.0f | %.2f | %zu | %.0f | %zu |\n", rules, by,
                      1e3 * one.converge, 1e3 * one.change, one.changeMods, 1e3 * one.restart,
                      one.restartMods );
         std::fflush( stdout );
      };
      tell( "agent and driver", agentAndDriver( steered ) );
      tell( "script", script( steered ) );
      // The driver has one more, for what no rule is for.
      auto const flowsOn = [&steered]( char const * name ) {
         return steered.openVSwitch().flows( name, Bench::preLookup ).size();
      };
      if ( flowsOn( Bench::bridge ) != rules + 1 || flowsOn( scriptsBridge ) != rules ) {
         Bench::wrong( "the bridges have other flows" );
      }
   }
}
