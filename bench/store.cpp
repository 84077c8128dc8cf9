// What it costs to keep the state: cold convergence of 10,000 rules in memory alone, with every
// turn saved as rows in memory, and with every turn saved in a file; and a start on such a file.
//
// `vs_memory` is the time against memory alone, taken in the same run.

#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>

#include "platform/corestore/SqliteStore.h"
#include "platform/corestore/ValueText.h"
#include "platform/kel/Dir.h"
#include "platform/records/openflowtable/PinFlowHwConfig.h"
#include "platform/records/qor/PolicyFragment.h"
#include "platform/records/vxlan/VtiStatus.h"
#include "runner/Switch.h"

namespace {

constexpr std::uint32_t fragments = 10;
constexpr int flowsPerFragment = 100;
constexpr int interfacesPerSet = 10;

double timed( std::function< void() > const & work ) {
   auto const start = std::chrono::steady_clock::now();
   work();
   return std::chrono::duration< double >( std::chrono::steady_clock::now() - start ).count();
}

/** A switch whose policy waits for the service to be enabled. */
class World {
 public:
   explicit World( Corestore::Store * store ) : device_( { .store = store } ) {
      auto & em = device_.entityManager();
      auto vti =
         Kel::ptrCast< Vxlan::VtiStatusDir >(
            em.entityIs( "interface/status/eth/vxlan", Vxlan::VtiStatusDir::kelType().name ) )
            ->vtiStatusIs( Wirekit::IntfId( "Vxlan1" ) );
      auto dir =
         Kel::ptrCast< Kel::Dir >( em.entityIs( "qor/version1/policy", Kel::Dir::kelType().name ) );
      auto policy = Kel::ptrCast< Qor::V1::QorPolicyFragment >(
         dir->createEntity( Qor::V1::QorPolicyFragment::kelType().name, "policy" ) );
      for ( std::uint32_t f = 0; f != fragments; ++f ) {
         Vxlan::VniOrNone const original( 10000 + f );
         Vxlan::VniOrNone const service( 20000 + f );
         mapVlan( *vti, 100 + f, original );
         mapVlan( *vti, 2000 + f, service );
         auto fragment = policy->policyFragmentIs( "fragment" + std::to_string( f ) );
         fragment->originalVniIs( original );
         fragment->serviceVniIs( service );
         auto near = fragment->serviceIntfSetIs( "near" );
         for ( int i = 1; i <= interfacesPerSet; ++i ) {
            near->intfIs( "Ethernet" + std::to_string( i ), true );
         }
         for ( int i = 0; i != flowsPerFragment; ++i ) {
            Qor::V1::PolicyFlowInfo flow;
            flow.flowName = "flow" + std::to_string( i );
            flow.serviceIntfKey = "near";
            flow.match.vni = service;
            flow.action.vni = original;
            fragment->flowIs( flow );
         }
      }
      // Saves what was written so far.
      device_.advance( 0 );
   }

   void converge() {
      device_.patch( Corestore::parseJson( R"({"mgmt/controller/status":{"enabled":true,
         "leaderServiceStatusDir":{"service":{"Qor":{"enabled":true}}}}})" ) );
      auto const table = device_.entity< OpenFlowTable::PinFlowHwConfig >( "pinflow/dyninput/qor" );
      if ( table->flowEntryCount() != 10'000 ) {
         std::abort();
      }
   }

 private:
   static void mapVlan( Vxlan::VtiStatus & vti, std::uint32_t vlan, Vxlan::VniOrNone vni ) {
      Vxlan::VniSourcePair pair;
      pair.vni = Vxlan::VniExtOrNone( vni.value() );
      vti.vlanToVniMapIs( Bridging::VlanId( static_cast< std::uint16_t >( vlan ) ), pair );
   }

   Runner::Switch device_;
};

/** A file that goes with this object. */
class StateFile {
 public:
   StateFile() {
      std::string pattern = std::filesystem::temp_directory_path() / "qorclient-bench-XXXXXX";
      directory_ = mkdtemp( pattern.data() );
   }
   ~StateFile() { std::filesystem::remove_all( directory_ ); }
   std::string name() const { return directory_ / "s.db"; }

 private:
   std::filesystem::path directory_;
};

double convergeWith( Corestore::Store * store ) {
   World world( store );
   return timed( [&] { world.converge(); } );
}

template < class Measure >
void against( benchmark::State & state, Measure const & measure ) {
   double memory = 0;
   double ours = 0;
   for ( auto _ : state ) {
      memory += convergeWith( nullptr );
      double const seconds = measure();
      ours += seconds;
      state.SetIterationTime( seconds );
   }
   state.counters["vs_memory"] = ours / memory;
}

void rowsInMemory( benchmark::State & state ) {
   against( state, [] {
      Corestore::MemoryStore store;
      return convergeWith( &store );
   } );
}
BENCHMARK( rowsInMemory )->UseManualTime()->Unit( benchmark::kMillisecond );

void rowsInAFile( benchmark::State & state ) {
   double bytes = 0;
   against( state, [&] {
      StateFile file;
      Corestore::SqliteStore store( file.name() );
      double const seconds = convergeWith( &store );
      bytes = static_cast< double >( std::filesystem::file_size( file.name() ) );
      return seconds;
   } );
   state.counters["file_bytes"] = bytes;
}
BENCHMARK( rowsInAFile )->UseManualTime()->Unit( benchmark::kMillisecond );

void startOnAFile( benchmark::State & state ) {
   StateFile file;
   {
      Corestore::SqliteStore store( file.name() );
      convergeWith( &store );
   }
   against( state, [&] {
      return timed( [&] {
         Corestore::SqliteStore store( file.name() );
         Runner::Switch const device( { .store = &store } );
      } );
   } );
}
BENCHMARK( startOnAFile )->UseManualTime()->Unit( benchmark::kMillisecond );

}  // namespace

int main( int argc, char ** argv ) {
   ::setenv( "FLASHLOG_DISABLE", "1", 0 );
   benchmark::Initialize( &argc, argv );
   benchmark::RunSpecifiedBenchmarks();
}
