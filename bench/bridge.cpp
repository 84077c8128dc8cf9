// What it costs to have an Open vSwitch bridge do what the policy asks for: agent, driver and
// switch are processes, and Redis stands between the first two.
//
// `allRulesProgrammed`: 100,000 rules, from the word that the agent is wanted until the last of
// them is told as programmed. `vs_ofctl` is the time against `ovs-ofctl --bundle add-flows` with
// the same flows into a bridge without any. `agent_s` and `driver_s` are what these two have used
// of a processor. `bytes_a_rule` is the driver's memory, after it has had some seconds of rest.
//
// `restart`: agent and driver are killed and started again on those rules, until both have nothing
// more to do. `flow_mods` is what the bridge was told to change.
//
// `oneFlowChanged`: another client changes one flow's address in Redis, with 100,000 rules
// standing, until the bridge has the changed flow. `flowChanged`: the same, until a packet takes
// the new way.
//
// `switchAlone`: a flow is changed by hand on that bridge, without agent and driver, until a packet
// takes the new way: what of `flowChanged` is the switch's own. `mod_us` is until the switch has
// the flow.
//
// `hostMoved`: a host whose packets are redirected goes on at another port, with 100,000 rules
// standing, from its first packet there until they are redirected there.

#include <benchmark/benchmark.h>
#include <poll.h>

#include <chrono>
#include <fstream>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "Steered.h"

namespace {

using namespace Bench;

constexpr std::uint32_t fragments = 100;
constexpr std::size_t rules = fragments * flowsPerFragment * interfacesPerSet;

void allRulesProgrammed( benchmark::State & state ) {
   double ours = 0;
   double theirs = 0;
   double agent = 0;
   double driver = 0;
   double memory = 0;
   for ( auto _ : state ) {
      Steered steered( fragments );
      double const before = steered.memory();
      steered.enable();
      double const seconds = steered.settle();
      ours += seconds;
      state.SetIterationTime( seconds );
      agent += steered.agentSeconds();
      driver += steered.driverSeconds();
      std::this_thread::sleep_for( std::chrono::seconds( 4 ) );
      memory += ( steered.memory() - before ) / rules;

      Live::Folder folder;
      std::string const file = folder.path() / "flows";
      {
         std::ofstream out( file );
         for ( std::string const & flow : steered.openVSwitch().flows( bridge, preLookup ) ) {
            out << flow << '\n';
         }
      }
      steered.openVSwitch().addBridge( "br1" );
      theirs += timed( [&] {
         steered.openVSwitch().ofctl( "add-flows", "br1", { file, "--bundle" } );
      } );
   }
   state.counters["vs_ofctl"] = ours / theirs;
   state.counters["ofctl_ms"] = 1e3 * theirs / static_cast< double >( state.iterations() );
   state.counters["bytes_a_rule"] = memory / static_cast< double >( state.iterations() );
   state.counters["agent_s"] = agent / static_cast< double >( state.iterations() );
   state.counters["driver_s"] = driver / static_cast< double >( state.iterations() );
}
BENCHMARK( allRulesProgrammed )->UseManualTime()->Unit( benchmark::kMillisecond )->Iterations( 2 );

/** A switch that has all rules, for the benchmarks that begin so. */
Steered & programmed() {
   static Steered steered( fragments );
   static bool const isSettled = [] {
      steered.enable();
      steered.settle();
      return true;
   }();
   (void)isSettled;
   return steered;
}

void restart( benchmark::State & state ) {
   Steered & steered = programmed();
   Onlooker onlooker( steered.openVSwitch().management( bridge ) );
   double changes = 0;
   for ( auto _ : state ) {
      steered.kill();
      state.SetIterationTime( steered.restart() );
      changes += static_cast< double >( onlooker.takeChanges() );
   }
   state.counters["flow_mods"] = changes;
}
BENCHMARK( restart )->UseManualTime()->Unit( benchmark::kMillisecond )->Iterations( 2 );

/** Tells the middle one and the 99th of a hundred. */
void tell( benchmark::State & state, std::vector< double > seconds ) {
   std::ranges::sort( seconds );
   state.counters["median_us"] = 1e6 * seconds[seconds.size() / 2];
   state.counters["p99_us"] = 1e6 * seconds[seconds.size() * 99 / 100];
}

void oneFlowChanged( benchmark::State & state ) {
   Steered & steered = programmed();
   Onlooker onlooker( steered.openVSwitch().management( bridge ) );
   std::string const key = keyOfFlow( "flow0" );
   std::string const match( textOf( *steered.client().ask( { "HGET", key, "match" } ) ) );
   std::size_t const at = match.find( "02:00:00:00:00:01" );
   std::vector< double > seconds;
   int round = 0;
   for ( auto _ : state ) {
      std::string changed = match;
      changed.replace( at, 17, "02:00:00:00:f0:" + std::to_string( 10 + ++round % 80 ) );
      seconds.push_back( timed( [&] {
         steered.client().ask( { "HSET", key, "match", changed } );
         // Each of its rules goes and comes.
         onlooker.await( 2 * interfacesPerSet );
      } ) );
      state.SetIterationTime( seconds.back() );
   }
   tell( state, std::move( seconds ) );
}
BENCHMARK( oneFlowChanged )->UseManualTime()->Unit( benchmark::kMicrosecond )->Iterations( 1000 );

/** Packets to a receiver behind the port where all leave, by the VLAN in which they come there. */
class Packets {
 public:
   explicit Packets( Steered & steered ) : out_( steered.wire( leavingPort ) ) {
      Lab::Frame frame = Lab::broadcastFrame( receiver );
      for ( std::uint16_t const vlan : { originalVlan, serviceVlan } ) {
         frame.vlan = vlan;
         out_.send( frame );
      }
   }

   /** Sends them one by one until one comes in a VLAN. */
   void sendUntil( Lab::Wire const & in, Lab::Mac const & from, std::uint16_t sentIn,
                   std::uint16_t comesIn ) {
      Lab::Frame frame = Lab::plainFrame( from, receiver );
      frame.vlan = sentIn;
      Lab::Mark const mark{ .stream = 1, .number = ++round_ };
      frame.markIs( mark );
      Steered::until( [&] {
         auto const end = std::chrono::steady_clock::now() + std::chrono::milliseconds( 500 );
         while ( std::chrono::steady_clock::now() < end ) {
            in.send( frame );
            pollfd coming{ out_.fd(), POLLIN, 0 };
            // The switch has other work, too.
            timespec const interval{ .tv_sec = 0, .tv_nsec = 200'000 };
            ::ppoll( &coming, 1, &interval, nullptr );
            while ( auto const came = out_.receive() ) {
               if ( came->mark() == mark && came->vlan == comesIn ) {
                  return true;
               }
            }
         }
         return false;
      } );
   }

 private:
   static constexpr Lab::Mac receiver{ 2, 0, 0, 0, 0xff, 1 };
   Lab::Wire const & out_;
   std::uint32_t round_ = 0;
};

/** The switch revises what frames have met so far when its tables change, but not sooner than 5 ms
 *  after the last time: a change by itself is measured, not the wait for the one before. */
void rest() {
   std::this_thread::sleep_for( std::chrono::milliseconds( 20 ) );
}

void flowChanged( benchmark::State & state ) {
   Steered & steered = programmed();
   Packets packets( steered );
   Lab::Wire const & in = steered.wire( enteringPort );
   Lab::Mac const sender{ 2, 0, 0, 0, 0xf1, 1 };
   std::string const key = keyOfFlow( "flow1" );
   bool isCaught = false;
   std::vector< double > seconds;
   for ( auto _ : state ) {
      rest();
      isCaught = !isCaught;
      std::string const match = std::string( R"({"srcMac":"02:00:00:00:f1:0)" ) +
                                ( isCaught ? "1" : "2" ) + R"(","vni":20000})";
      seconds.push_back( timed( [&] {
         steered.client().ask( { "HSET", key, "match", match } );
         packets.sendUntil( in, sender, serviceVlan, isCaught ? originalVlan : serviceVlan );
      } ) );
      state.SetIterationTime( seconds.back() );
   }
   tell( state, std::move( seconds ) );
}
BENCHMARK( flowChanged )->UseManualTime()->Unit( benchmark::kMicrosecond )->Iterations( 1000 );

void hostMoved( benchmark::State & state ) {
   Steered & steered = programmed();
   Packets packets( steered );
   Lab::Wire const & before = steered.wire( firstPort );
   Lab::Wire const & after = steered.wire( secondPort );
   // Each moves once: where a host has been lately, the switch has frames pass as before and learns
   // from their count alone, twice a second.
   auto const hosts = static_cast< std::uint8_t >( state.max_iterations );
   auto const hostOf = []( std::uint8_t n ) { return Lab::Mac{ 2, 0, 0, 0, 0xf2, n }; };
   for ( std::uint8_t n = 0; n != hosts; ++n ) {
      steered.client().ask(
         { "HSET", keyOfFlow( "host" + std::to_string( n ) ), "interceptPoint", "0", "match",
           R"({"srcMac":")" + Wirekit::EthAddr( hostOf( n ) ).stringValue() + R"(","vni":10000})",
           "action", R"({"vni":20000})" } );
      packets.sendUntil( before, hostOf( n ), originalVlan, serviceVlan );
   }
   // What came from there has been counted.
   std::this_thread::sleep_for( std::chrono::milliseconds( 1100 ) );
   std::vector< double > seconds;
   for ( auto _ : state ) {
      rest();
      Lab::Mac const host = hostOf( static_cast< std::uint8_t >( seconds.size() ) );
      seconds.push_back(
         timed( [&] { packets.sendUntil( after, host, originalVlan, serviceVlan ); } ) );
      state.SetIterationTime( seconds.back() );
   }
   tell( state, std::move( seconds ) );
}
BENCHMARK( hostMoved )->UseManualTime()->Unit( benchmark::kMicrosecond )->Iterations( 100 );

/** Last of all, since the programs are away then. */
void switchAlone( benchmark::State & state ) {
   Steered & steered = programmed();
   Packets packets( steered );
   Lab::Wire const & in = steered.wire( enteringPort );
   Lab::Mac const sender{ 2, 0, 0, 0, 0xf1, 9 };
   steered.kill();
   Kel::Ptr< Orb::TaskScheduler > scheduler(
      new Orb::TaskScheduler( std::make_unique< Orb::RealTime >() ) );
   OpenFlow::Connection connection( scheduler, steered.openVSwitch().management( bridge ),
                                    { .up = [] {},
                                      .down = []( std::string const & ) {},
                                      .portChanged = []( auto const &... ) {},
                                      .flowChanged = []( auto const & ) {},
                                      .changesMissed = [] {} } );
   scheduler->run( [&] { return connection.isUp(); } );
   OpenFlow::Flow const flow{
      .table = preLookup,
      .priority = 40000,
      .match = OpenFlow::Match().vlan( serviceVlan ).ethSrc( Wirekit::EthAddr( sender ) ),
      .actions = OpenFlow::Actions().setVlan( originalVlan ).resubmit( 11 ) };
   bool isCaught = false;
   std::vector< double > seconds;
   std::vector< double > modSeconds;
   for ( auto _ : state ) {
      rest();
      isCaught = !isCaught;
      seconds.push_back( timed( [&] {
         modSeconds.push_back( timed( [&] {
            bool done = false;
            connection.program( { { isCaught ? OpenFlow::FlowChange::Kind::add
                                             : OpenFlow::FlowChange::Kind::deleteStrict,
                                    flow } },
                                [&]( auto const & ) { done = true; } );
            scheduler->run( [&] { return done; } );
         } ) );
         packets.sendUntil( in, sender, serviceVlan, isCaught ? originalVlan : serviceVlan );
      } ) );
      state.SetIterationTime( seconds.back() );
   }
   std::ranges::sort( modSeconds );
   state.counters["mod_us"] = 1e6 * modSeconds[modSeconds.size() / 2];
   tell( state, std::move( seconds ) );
}
BENCHMARK( switchAlone )->UseManualTime()->Unit( benchmark::kMicrosecond )->Iterations( 300 );

}  // namespace

int main( int argc, char ** argv ) {
   if ( std::string const missing = Lab::Laboratory::missing(); !missing.empty() ) {
      std::printf( "skipped: %s\n", missing.c_str() );
      return 0;
   }
   runBenchmarks( argc, argv );
}
