// What host tracking costs: forwarding changes that concern nobody, against a hash miss plus the
// checked read of the row; intercepted hosts that move, against writing the same records bare; a
// burst, against the scheduler's slice; and the memory of a tracked host.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "Measure.h"
#include "NearPolicy.h"
#include "platform/corestore/EntityManager.h"
#include "platform/warden/CAgent.h"
#include "qorclient/agent/QorClientAgent.h"
#include "qorclient/flowtable/PinFlowHwConfig.h"
#include "qorclient/host/HostTrackerSm.h"
#include "records/qor/PolicyFragment.h"
#include "records/qor/PolicyFragmentStatus.h"
#include "records/vxlan/VtiStatus.h"

namespace {

using Bench::heapBytes;
using Bench::timed;
using Bridging::HostKey;
using Bridging::MacVlanPair;
using Bridging::VlanId;
using Wirekit::EthAddr;
using Wirekit::IntfId;

EthAddr macOf( std::uint32_t n ) {
   return EthAddr( EthAddr::Bytes{ 2, 0, std::uint8_t( n >> 24 ), std::uint8_t( n >> 16 ),
                                   std::uint8_t( n >> 8 ), std::uint8_t( n ) } );
}

constexpr auto local = Bridging::EntryType::local;

/** Hosts in an order that no cache foresees. */
std::vector< std::uint32_t > shuffled( std::uint32_t count ) {
   std::vector< std::uint32_t > order( count );
   for ( std::uint32_t n = 0; n != count; ++n ) {
      order[n] = n;
   }
   std::shuffle( order.begin(), order.end(), std::mt19937( 1 ) );
   return order;
}

// --- The tracker alone ---

/** A tracker over a forwarding table, and no policy but what is written into its status. */
struct Tracker {
   VlanId const vlan{ 100 };
   IntfId const intf{ "Ethernet1" };
   Kel::Ptr< Orb::TaskScheduler > scheduler{
      new Orb::TaskScheduler( std::make_unique< Orb::RealTime >() ) };
   Kel::Ptr< Slab::Bridging::Status > fdb{ new Slab::Bridging::Status( "bridging/status" ) };
   Kel::Ptr< Bridging::Config > config{ new Bridging::Config( "config" ) };
   Kel::Ptr< Bridging::SwitchIntfConfigDir > intfs{ new Bridging::SwitchIntfConfigDir( "dir" ) };
   Kel::Ptr< Mlag::HostTable > peerHosts{ new Mlag::HostTable( "hostTable" ) };
   Kel::Ptr< QorClient::Status > status{ new QorClient::Status( "status" ) };
   Kel::Ptr< QorClient::HostTrackerSm > tracker;

   /** The forwarding table holds `rows` hosts when the tracker starts. */
   explicit Tracker( std::uint32_t rows ) {
      QorClient::LocalData::singleton()->schedulerIs( scheduler );
      config->vlanConfigIs( vlan )->intfIs( intf, true );
      for ( std::uint16_t number = 1; number <= 1000; ++number ) {
         config->vidToFidMapIs( VlanId( number ), number );
      }
      intfs->switchIntfConfigIs( intf );
      for ( std::uint32_t n = 0; n != rows; ++n ) {
         fdb->fdbStatusIs( keyOf( n ), { intf, local, 0 } );
      }
      tracker = QorClient::hostTrackerSmFactory( fdb, config, intfs, peerHosts, status );
      scheduler->runReady();
   }
   ~Tracker() {
      tracker = nullptr;
      Kel::Entity::singletonsDel();
   }
   HostKey keyOf( std::uint32_t n ) const { return { vlan.value(), macOf( n ) }; }
};

/** A change of each of /N rows, none of a bound host; 1,000 bound hosts stand elsewhere. */
void unwantedChange( benchmark::State & state ) {
   auto const rows = static_cast< std::uint32_t >( state.range( 0 ) );
   Tracker world( rows );
   for ( std::uint32_t n = 0; n != 1000; ++n ) {
      world.status->boundHostIs( { macOf( ~n ), world.vlan }, true );
   }
   std::vector< std::uint32_t > const order = shuffled( rows );
   double ours = 0;
   double floor = 0;
   for ( auto _ : state ) {
      double const seconds = timed( [&] {
         for ( std::uint32_t n : order ) {
            world.tracker->handleFdbStatus( world.keyOf( n ) );
         }
         world.scheduler->runReady();
      } );
      floor += timed( [&] {
         for ( std::uint32_t n : order ) {
            benchmark::DoNotOptimize( world.fdb->fdbStatus( world.keyOf( n ) ) );
            benchmark::DoNotOptimize( world.status->boundHostHas( { macOf( n ), world.vlan } ) );
         }
      } );
      ours += seconds;
      state.SetIterationTime( seconds );
   }
   double const changes = static_cast< double >( state.iterations() ) * rows;
   state.counters["ns_per_change"] = ours / changes * 1e9;
   state.counters["floor_ns"] = floor / changes * 1e9;
   state.counters["vs_floor"] = ours / floor;
}
BENCHMARK( unwantedChange )
   ->Arg( 1'000 )
   ->Arg( 100'000 )
   ->UseManualTime()
   ->Unit( benchmark::kMillisecond );

/** All of 100,000 rows change at once; the scheduler's slice is 5 ms. */
void burst( benchmark::State & state ) {
   constexpr std::uint32_t rows = 100'000;
   Tracker world( rows );
   double longest = 0;
   std::uint64_t runs = 0;
   for ( auto _ : state ) {
      for ( std::uint32_t n = 0; n != rows; ++n ) {
         world.tracker->handleFdbStatus( world.keyOf( n ) );
      }
      bool more = true;
      while ( more ) {
         double const seconds = timed( [&] { more = world.scheduler->runOne(); } );
         longest = std::max( longest, seconds );
         runs += more;
      }
   }
   state.counters["longest_run_ms"] = longest * 1e3;
   state.counters["runs"] =
      static_cast< double >( runs ) / static_cast< double >( state.iterations() );
}
BENCHMARK( burst )->Unit( benchmark::kMillisecond );

/** From a bound host that is unknown to a warm one, and what a bound one takes itself. */
void memory( benchmark::State & state ) {
   constexpr std::uint32_t hosts = 10'000;
   for ( auto _ : state ) {
      Tracker world( 0 );
      double const empty = heapBytes();
      for ( std::uint32_t n = 0; n != hosts; ++n ) {
         world.status->boundHostIs( { macOf( n ), world.vlan }, true );
      }
      double const bound = heapBytes();
      for ( std::uint32_t n = 0; n != hosts; ++n ) {
         world.fdb->fdbStatusIs( world.keyOf( n ), { world.intf, local, 0 } );
      }
      double const noted = heapBytes();
      world.scheduler->runReady();
      state.counters["bytes_bound"] = ( bound - empty ) / hosts;
      state.counters["bytes_in_backlog"] = ( noted - bound ) / hosts;
      state.counters["bytes_warm"] = ( heapBytes() - bound ) / hosts;
   }
}
BENCHMARK( memory )->Iterations( 1 );

// --- The whole agent ---

constexpr std::uint32_t hostCount = 10'000;
constexpr std::uint32_t interfaces = 48;

/** 10,000 intercepted hosts in so many fragments, each with one egress flow, on 48 interfaces. */
class World {
 public:
   explicit World( std::uint32_t fragments ) : fragments_( fragments ) {
      auto vti = entity< Vxlan::VtiStatusDir >( "interface/status/eth/vxlan" )
                    ->vtiStatusIs( IntfId( "Vxlan1" ) );
      Bench::enable( *em_ );
      auto intfDir = entity< Bridging::SwitchIntfConfigDir >( "bridging/switchIntfConfig" );
      for ( std::uint32_t i = 0; i != interfaces; ++i ) {
         intfDir->switchIntfConfigIs( intfOf( i ) );
      }
      auto policy = Kel::ptrCast< Qor::V1::QorPolicyFragment >(
         entity< Kel::Dir >( "qor/version1/policy" )
            ->createEntity( Qor::V1::QorPolicyFragment::kelType().name, "policy" ) );
      for ( std::uint32_t f = 0; f != fragments; ++f ) {
         fragmentIs( *policy, *vti, f );
      }
      agent_ = Warden::startAgent( QorClient::Agent::kelType().name, "QorClient", em_ );
      scheduler_->runReady();
   }
   ~World() {
      agent_ = nullptr;
      Kel::Entity::singletonsDel();
   }

   template < class T >
   Kel::Ptr< T > entity( char const * path ) const {
      return Kel::ptrCast< T >( em_->entityIs( path, T::kelType().name ) );
   }
   Kel::Ptr< QorClient::Status > status() const {
      return entity< QorClient::Status >( "qorclient/status" );
   }
   /** Each host speaks on the interface after its last one. */
   void move( std::vector< std::uint32_t > const & order ) {
      ++round_;
      auto fdb = entity< Slab::Bridging::Status >( "bridging/status" );
      for ( std::uint32_t n : order ) {
         fdb->fdbStatusIs( HostKey{ originalVlan( n % fragments_ ).value(), macOf( n ) },
                           { intfOf( n / fragments_ + round_ ), local, round_ } );
      }
      scheduler_->runReady();
   }

   static IntfId intfOf( std::uint32_t n ) {
      static std::vector< IntfId > const names = [] {
         std::vector< IntfId > made;
         for ( std::uint32_t i = 0; i != interfaces; ++i ) {
            made.push_back( IntfId( "Ethernet" + std::to_string( i + 1 ) ) );
         }
         return made;
      }();
      return names[n % interfaces];
   }

 private:
   static VlanId originalVlan( std::uint32_t fragment ) {
      return VlanId( static_cast< std::uint16_t >( 100 + fragment ) );
   }

   void fragmentIs( Qor::V1::QorPolicyFragment & policy, Vxlan::VtiStatus & vti, std::uint32_t f ) {
      Vxlan::VniOrNone const original( 10'000 + f );
      Vxlan::VniOrNone const service( 20'000 + f );
      Bench::mapVlan( vti, originalVlan( f ).value(), original );
      Bench::mapVlan( vti, 2000 + f, service );
      auto vlan =
         entity< Bridging::Config >( "bridging/config" )->vlanConfigIs( originalVlan( f ) );
      for ( std::uint32_t i = 0; i != interfaces; ++i ) {
         vlan->intfIs( intfOf( i ), true );
      }
      auto fragment = policy.policyFragmentIs( "fragment" + std::to_string( f ) );
      fragment->originalVniIs( original );
      fragment->serviceVniIs( service );
      for ( std::uint32_t n = f; n < hostCount; n += fragments_ ) {
         Qor::V1::PolicyFlowInfo flow;
         flow.flowName = "host" + std::to_string( n );
         flow.match.srcMac = macOf( n );
         flow.match.vni = original;
         flow.action.vni = service;
         fragment->flowIs( flow );
      }
      Qor::V1::PolicyFlowInfo egress;
      egress.flowName = "egress";
      egress.interceptPoint = Qor::V1::InterceptPoint::interceptEgress;
      egress.match.vni = service;
      egress.action.vni = original;
      fragment->flowIs( egress );
   }

   std::uint32_t const fragments_;
   std::uint32_t round_ = 0;
   Kel::Ptr< Orb::TaskScheduler > scheduler_{
      new Orb::TaskScheduler( std::make_unique< Orb::VirtualTime >() ) };
   Kel::Ptr< Corestore::EntityManager > em_{ new Corestore::EntityManager( scheduler_ ) };
   Kel::Ptr< Warden::CAgent > agent_;
};

/** What a move must write at least, in entities that nobody watches: the forwarding row, the
 *  host's place and the counts, its rule with all that is kept of it, and the flow's state. */
class BareMoves {
 public:
   explicit BareMoves( World const & world ) {
      auto const table = world.entity< OpenFlowTable::PinFlowHwConfig >( "pinflow/dyninput/qor" );
      auto const states =
         world.entity< Qor::V1::QorPolicyFragmentStatus >( "qorclient/version1/policystatus" );
      for ( auto const & [fragment, info] : world.status()->policyFragmentInfo() ) {
         policy_->policyFragmentIs( fragment );
         for ( auto const & [flow, flowInfo] : info->flowInfo() ) {
            for ( auto const & [host, intf] : flowInfo->boundHost() ) {
               QorClient::RuleKey key;
               key.inIntf = intf;
               auto const rule = flowInfo->ruleInfo( key );
               Host one{ host,
                         fragment,
                         flow,
                         rule->ruleName(),
                         key,
                         table->flowEntry( rule->ruleName() ),
                         states->policyFragment( fragment )->flowStatus( flow ),
                         {} };
               one.info = status_->policyFragmentInfoIs( fragment )->flowInfoIs( flow );
               hosts_.push_back( one );
               write( hosts_.back() );
            }
         }
      }
   }

   /** Every rule is taken out and written again. */
   void move( std::vector< std::uint32_t > const & order ) {
      for ( std::uint32_t n : order ) {
         Host const & host = hosts_[n];
         table_->flowEntryDel( host.rule );
         status_->flowNameForRuleNameDel( host.rule );
         status_->fragmentNameForRuleNameDel( host.rule );
         status_->ruleStateForRuleNameDel( host.rule );
         host.info->ruleInfoDel( host.key );
         Qor::V1::PolicyFlowStatus waiting;
         waiting.flowName = host.flow;
         policy_->policyFragment( host.fragment )->flowStatusIs( waiting );
         status_->warmHostRefCountIs( host.key.inIntf, n );
         status_->warmHostRefCountIs( IntfId(), n );
         write( host );
      }
   }

 private:
   struct Host {
      MacVlanPair host;
      Kel::String fragment;
      Kel::String flow;
      Kel::String rule;
      QorClient::RuleKey key;
      OpenFlowTable::FlowEntry entry;
      Qor::V1::PolicyFlowStatus state;
      Kel::Ptr< QorClient::FlowInfo > info;
   };

   void write( Host const & host ) {
      fdb_->fdbStatusIs( HostKey{ host.host.vlanId.value(), host.host.mac },
                         { host.key.inIntf, local, ++moves_ } );
      status_->warmHostIs( host.host, moves_ % 2 ? host.key.inIntf : IntfId() );
      host.info->boundHostIs( host.host, moves_ % 2 ? host.key.inIntf : IntfId() );
      table_->flowEntryIs( host.rule, host.entry );
      status_->flowNameForRuleNameIs( host.rule, host.flow );
      status_->fragmentNameForRuleNameIs( host.rule, host.fragment );
      status_->ruleStateForRuleNameIs( host.rule, 1 );
      auto const rule = host.info->ruleInfoIs( host.key );
      rule->ruleNameIs( host.rule );
      rule->refCountIs( 1 );
      rule->publishedIs( true );
      rule->ruleStateIs( 1 );
      policy_->policyFragment( host.fragment )->flowStatusIs( host.state );
   }

   std::uint32_t moves_ = 0;
   Kel::Ptr< OpenFlowTable::PinFlowHwConfig > table_{ new OpenFlowTable::PinFlowHwConfig( "t" ) };
   Kel::Ptr< Qor::V1::QorPolicyFragmentStatus > policy_{
      new Qor::V1::QorPolicyFragmentStatus( "p" ) };
   Kel::Ptr< QorClient::Status > status_{ new QorClient::Status( "s" ) };
   Kel::Ptr< Slab::Bridging::Status > fdb_{ new Slab::Bridging::Status( "bare" ) };
   std::vector< Host > hosts_;
};

/** All 10,000 hosts of /N fragments move once, in random order. */
void moves( benchmark::State & state ) {
   double const before = heapBytes();
   World world( static_cast< std::uint32_t >( state.range( 0 ) ) );
   double const bound = heapBytes();
   std::vector< std::uint32_t > const order = shuffled( hostCount );
   world.move( order );
   state.counters["bytes_per_flow"] = ( bound - before ) / hostCount;
   state.counters["bytes_per_intercept"] = ( heapBytes() - bound ) / hostCount;
   BareMoves bare( world );
   double ours = 0;
   double floor = 0;
   for ( auto _ : state ) {
      double const seconds = timed( [&] { world.move( order ); } );
      floor += timed( [&] { bare.move( order ); } );
      ours += seconds;
      state.SetIterationTime( seconds );
   }
   double const count = static_cast< double >( state.iterations() ) * hostCount;
   state.counters["ns_per_move"] = ours / count * 1e9;
   state.counters["bare_ns"] = floor / count * 1e9;
   state.counters["vs_bare"] = ours / floor;
}
BENCHMARK( moves )->Arg( 1 )->Arg( 100 )->UseManualTime()->Iterations( 5 )->Unit(
   benchmark::kMillisecond );

}  // namespace

int main( int argc, char ** argv ) {
   Bench::runBenchmarks( argc, argv );
}
