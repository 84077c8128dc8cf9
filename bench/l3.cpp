/*
 * Routed policy at the scale of a large data-centre switch: 64 VRFs, in each 16 groups of 128
 * members (131,072 end points) or 16 flow groups of 100 flows (102,400 flows). The floor is the
 * bare write of the records that the converged agent has published, into fresh entities of the
 * same types that nobody watches, with each set looked up once.
 */

#include <benchmark/benchmark.h>

#include <string>
#include <vector>

#include "Measure.h"
#include "qorclient/l3/QorClientL3RootSm.h"

namespace {

using Bench::heapBytes;
using Bench::median;
using Bench::timed;
using Kel::Ptr;

struct Scale {
   unsigned vrfs = 64;
   unsigned groups = 16;
   unsigned members = 0;
   unsigned flowGroups = 16;
   unsigned flows = 0;
};

Vxlan::VniOrNone vniOf( unsigned vrf ) {
   return Vxlan::VniOrNone( 10000 + vrf );
}

QorL3::V1::Member member( unsigned number ) {
   QorL3::V1::Member made;
   auto const low = static_cast< std::uint8_t >( number );
   auto const high = static_cast< std::uint8_t >( number >> 8 );
   made.ip = Wirekit::IpGenAddr( Wirekit::Ip4Addr( 0x0a000000 + number ) );
   made.mac = Wirekit::EthAddr( Wirekit::EthAddr::Bytes{ 2, 0, 0, 0, high, low } );
   return made;
}

QorL3::V1::FlowConfig flow( unsigned vrf, unsigned group, unsigned number ) {
   namespace Field = QorL3::V1::MatchField;
   QorL3::V1::FlowConfig made;
   made.name = "vrf" + std::to_string( vrf ) + "-group" + std::to_string( group ) + "-flow" +
               std::to_string( number );
   made.priority = 1000 + number;
   made.matchFieldSet = Field::srcGroup | Field::dstGroup | Field::vni | Field::ip4Dst |
                        Field::ipProtocol | Field::l4DstPort;
   made.match.srcGroup = "group0";
   made.match.dstGroup = "group1";
   made.match.vni = Vxlan::Vni( vniOf( vrf ) );
   made.match.ipDst =
      Wirekit::IpGenPrefix( Wirekit::IpGenAddr( Wirekit::Ip4Addr( 0x0a000000 + number ) ), 32 );
   made.match.ipProtocol = 6;
   made.match.l4DstPort = static_cast< std::uint16_t >( number );
   made.actionFieldSet = QorL3::V1::ActionField::nexthop;
   made.action.nexthop = Wirekit::IpGenAddr( Wirekit::Ip4Addr( 0x0a0000fe ) );
   made.enabled = true;
   made.firstLabel = "tenant" + std::to_string( vrf );
   return made;
}

/** What the agent publishes. */
struct Outputs {
   Ptr< QorL3::V1::GroupTypeStatus > groupTypeStatus{ new QorL3::V1::GroupTypeStatus( "t" ) };
   Ptr< Kel::Dir > groupSetStatusDir{ new Kel::Dir( "groupSetStatus" ) };
   Ptr< Kel::Dir > fragmentStatusDir{ new Kel::Dir( "fragmentStatus" ) };
   Ptr< OpenFlowTable::PinFlowHwConfig > table{ new OpenFlowTable::PinFlowHwConfig( "table" ) };

   template < class T >
   static Ptr< T > statusIn( Ptr< Kel::Dir > const & dir, Kel::Name const & vrf ) {
      return Kel::ptrCast< T >( dir->createEntity( T::kelType().name, vrf ) );
   }
};

/** Inputs, outputs, and an L3 tree that may be started on them any number of times. */
class World {
 public:
   explicit World( Scale const & scale ) : scale_( scale ) {
      auto types = Kel::ptrCast< QorL3::V1::GroupTypeConfig >(
         groupTypes_->createEntity( QorL3::V1::GroupTypeConfig::kelType().name, "config" ) );
      for ( unsigned g = 0; g != scale.groups; ++g ) {
         types->groupIs( "group" + std::to_string( g ), { { 1, 0, 0 } } );
      }
      vtepInfo_ = QorClient::LocalData::singleton()->vtepInfoIs();
      for ( unsigned v = 0; v != scale.vrfs; ++v ) {
         vtepInfo_->vniToVlanMapIs( Vxlan::Vni( vniOf( v ) ),
                                    Bridging::VlanId( static_cast< std::uint16_t >( 100 + v ) ) );
         if ( scale.members ) {
            addGroups( v );
         }
         if ( scale.flows ) {
            addFlows( v );
         }
      }
   }
   ~World() {
      stop();
      Kel::Entity::singletonsDel();
   }

   void start() {
      root_ = QorClientL3::V1::rootSmFactory( groupTypes_, out.groupTypeStatus, groupSets_,
                                              out.groupSetStatusDir, fragments_,
                                              out.fragmentStatusDir, out.table, hardware );
   }
   void stop() { root_ = nullptr; }

   /** The hardware takes all that is in the flow table. */
   void answerAll() const {
      for ( auto const & [id, group] : out.table->trafficEndPoint() ) {
         hardware->trafficEndPointStatusIs( id )->groupNameIs( group );
      }
      for ( auto const & [name, entry] : out.table->flowEntry() ) {
         hardware->flowStatsIs( name )->statusIs( OpenFlowTable::FlowStatus::active );
      }
   }

   std::size_t records() const {
      return out.table->trafficEndPointCount() + out.table->flowEntryCount();
   }

   Outputs out;
   Ptr< OpenFlowTable::HwStatus > hardware{ new OpenFlowTable::HwStatus( "hardware" ) };

 private:
   void addGroups( unsigned v ) {
      auto set = Kel::ptrCast< QorL3::V1::GroupSetConfig >( groupSets_->createEntity(
         QorL3::V1::GroupSetConfig::kelType().name, "vrf" + std::to_string( v ) ) );
      for ( unsigned g = 0; g != scale_.groups; ++g ) {
         auto members = set->groupIs( "group" + std::to_string( g ) )->memberSetIs( vniOf( v ) );
         for ( unsigned m = 0; m != scale_.members; ++m ) {
            members->memberIs( member( g * scale_.members + m ) );
         }
      }
   }
   void addFlows( unsigned v ) {
      auto fragment = Kel::ptrCast< QorL3::V1::FragmentConfig >( fragments_->createEntity(
         QorL3::V1::FragmentConfig::kelType().name, "vrf" + std::to_string( v ) ) );
      for ( unsigned g = 0; g != scale_.flowGroups; ++g ) {
         auto group = fragment->flowGroupIs( { 1, g } );
         for ( unsigned f = 0; f != scale_.flows; ++f ) {
            group->flowIs( flow( v, g, f ) );
         }
      }
   }

   Scale const scale_;
   Ptr< Kel::Dir > groupTypes_{ new Kel::Dir( "groupTypeConfig" ) };
   Ptr< Kel::Dir > groupSets_{ new Kel::Dir( "groupSetConfig" ) };
   Ptr< Kel::Dir > fragments_{ new Kel::Dir( "fragmentConfig" ) };
   Ptr< QorClient::VtepInfo > vtepInfo_;
   Ptr< QorClientL3::V1::RootSm > root_;
};

/** The records of a converged agent, taken out beforehand so that writing is all that is timed. */
class FinalRecords {
 public:
   explicit FinalRecords( Outputs const & from ) {
      for ( auto const & [name, type] : from.table->trafficGroup() ) {
         groups_.push_back( name );
      }
      for ( auto const & [id, group] : from.table->trafficEndPoint() ) {
         endPoints_.emplace_back( id, group );
      }
      for ( auto const & [name, entry] : from.table->flowEntry() ) {
         flows_.emplace_back( name, entry );
      }
      for ( auto const & [vrf, entity] : from.groupSetStatusDir->entity() ) {
         for ( auto const & [group, members] :
               Kel::ptrCast< QorL3::V1::GroupSetStatus >( entity )->group() ) {
            for ( auto const & [vni, set] : members->memberSet() ) {
               memberSets_.push_back( { vrf, group, vni, {} } );
               for ( auto const & [key, status] : set->status() ) {
                  memberSets_.back().rows.push_back( status );
               }
            }
         }
      }
      for ( auto const & [vrf, entity] : from.fragmentStatusDir->entity() ) {
         for ( auto const & [order, group] :
               Kel::ptrCast< QorL3::V1::FragmentStatus >( entity )->flowGroup() ) {
            flowGroups_.push_back( { vrf, order, {} } );
            for ( auto const & [name, status] : group->flow() ) {
               flowGroups_.back().rows.push_back( status );
            }
         }
      }
   }

   Outputs writeBare() const {
      Outputs out;
      for ( Kel::Name const & name : groups_ ) {
         out.table->trafficGroupIs( name, OpenFlowTable::TrafficStreamGroupType::normal );
      }
      for ( auto const & [id, group] : endPoints_ ) {
         out.table->trafficEndPointIs( id, group );
      }
      for ( auto const & [name, entry] : flows_ ) {
         out.table->flowEntryIs( name, entry );
      }
      for ( MemberSet const & set : memberSets_ ) {
         auto rows =
            Outputs::statusIn< QorL3::V1::GroupSetStatus >( out.groupSetStatusDir, set.vrf )
               ->groupIs( set.group )
               ->memberSetIs( set.vni );
         for ( QorL3::V1::MemberStatus const & row : set.rows ) {
            rows->statusIs( row );
         }
      }
      for ( FlowGroup const & group : flowGroups_ ) {
         auto rows =
            Outputs::statusIn< QorL3::V1::FragmentStatus >( out.fragmentStatusDir, group.vrf )
               ->flowGroupIs( group.order );
         for ( QorL3::V1::FlowStatus const & row : group.rows ) {
            rows->flowIs( row );
         }
      }
      return out;
   }

 private:
   struct MemberSet {
      Kel::Name vrf;
      Kel::String group;
      Vxlan::VniOrNone vni;
      std::vector< QorL3::V1::MemberStatus > rows;
   };
   struct FlowGroup {
      Kel::Name vrf;
      QorL3::V1::FlowGroupOrder order;
      std::vector< QorL3::V1::FlowStatus > rows;
   };

   std::vector< Kel::Name > groups_;
   std::vector< std::pair< OpenFlowTable::TrafficStreamEndPointId, Kel::String > > endPoints_;
   std::vector< std::pair< Kel::Name, OpenFlowTable::FlowEntry > > flows_;
   std::vector< MemberSet > memberSets_;
   std::vector< FlowGroup > flowGroups_;
};

Scale endPointScale() {
   return { 64, 16, 128, 16, 0 };
}
Scale flowScale() {
   return { 64, 16, 0, 16, 100 };
}

/**
 * From the start of the tree, on configuration alone, until all is published; then once more on
 * what that run and a hardware that has taken all of it have left.
 */
void converge( benchmark::State & state, Scale const & scale ) {
   std::vector< double > cold, bare, restart, answers;
   double records = 1;
   for ( auto _ : state ) {
      World world( scale );
      double const before = heapBytes();
      cold.push_back( timed( [&] { world.start(); } ) );
      records = static_cast< double >( world.records() );
      state.counters["bytes"] = ( heapBytes() - before ) / records;
      FinalRecords const final( world.out );
      Outputs written;
      double const bareBefore = heapBytes();
      bare.push_back( timed( [&] { written = final.writeBare(); } ) );
      state.counters["bare_bytes"] = ( heapBytes() - bareBefore ) / records;
      answers.push_back( timed( [&] { world.answerAll(); } ) );
      state.SetIterationTime( cold.back() );

      Outputs const left = FinalRecords( world.out ).writeBare();
      world.stop();
      world.out = left;
      restart.push_back( timed( [&] { world.start(); } ) );
      if ( static_cast< double >( world.records() ) != records ) {
         Bench::wrong( "the restart changes what is published" );
      }
   }
   state.counters["cold_ns"] = median( cold ) / records * 1e9;
   state.counters["bare_ns"] = median( bare ) / records * 1e9;
   state.counters["vs_bare"] = median( cold ) / median( bare );
   state.counters["restart_ns"] = median( restart ) / records * 1e9;
   state.counters["restart_vs_bare"] = median( restart ) / median( bare );
   state.counters["answer_ns"] = median( answers ) / records * 1e9;
}

void endPoints( benchmark::State & state ) {
   converge( state, endPointScale() );
}
void flows( benchmark::State & state ) {
   converge( state, flowScale() );
}
BENCHMARK( endPoints )->UseManualTime()->Iterations( 5 )->Unit( benchmark::kMillisecond );
BENCHMARK( flows )->UseManualTime()->Iterations( 5 )->Unit( benchmark::kMillisecond );

/** The median time of one row's coming, or of its going, in nanoseconds. */
double oneAnswer( unsigned vrfs ) {
   World world( { vrfs, 1, 0, 16, 100 } );
   world.start();
   std::vector< double > rounds;
   for ( unsigned round = 0; round != 300; ++round ) {
      rounds.push_back( timed( [&] {
         for ( unsigned f = 0; f != 10; ++f ) {
            Kel::Name const name = flow( 0, round % 16, f ).name;
            world.hardware->flowStatsIs( name );
            world.hardware->flowStatsDel( name );
         }
      } ) );
   }
   return median( rounds ) / 20 * 1e9;
}

/** One row of the hardware's answers, with 16 flow groups and with 1,024. */
void oneAnswerAmongMany( benchmark::State & state ) {
   double few = 0, many = 0;
   for ( auto _ : state ) {
      few = oneAnswer( 1 );
      many = oneAnswer( 64 );
   }
   state.counters["few_ns"] = few;
   state.counters["many_ns"] = many;
   state.counters["many_over_few"] = many / few;
}
BENCHMARK( oneAnswerAmongMany )->Iterations( 1 )->Unit( benchmark::kMillisecond );

/**
 * The median time of one end point's coming, or of its going, in nanoseconds for each member set of
 * its VRF: all of them hear of it, and have the end point's VLAN.
 */
double oneEndPointHeard( unsigned sets ) {
   World world( { 1, sets, 1, 0, 0 } );
   world.start();
   OpenFlowTable::TrafficStreamEndPointId const id =
      *world.out.table->trafficEndPointKeys().begin();
   std::vector< double > rounds;
   for ( unsigned round = 0; round != 200; ++round ) {
      rounds.push_back( timed( [&] {
         world.hardware->trafficEndPointStatusIs( id );
         world.hardware->trafficEndPointStatusDel( id );
      } ) );
   }
   return median( rounds ) / ( 2 * sets ) * 1e9;
}

/** One end point of the hardware's answers, in a VRF with 16 member sets and with 1,024. */
void oneEndPointAmongManySets( benchmark::State & state ) {
   double few = 0, many = 0;
   for ( auto _ : state ) {
      few = oneEndPointHeard( 16 );
      many = oneEndPointHeard( 1024 );
   }
   state.counters["few_ns_per_set"] = few;
   state.counters["many_ns_per_set"] = many;
   state.counters["many_over_few"] = many / few;
}
BENCHMARK( oneEndPointAmongManySets )->Iterations( 1 )->Unit( benchmark::kMillisecond );

}  // namespace

int main( int argc, char ** argv ) {
   Bench::runBenchmarks( argc, argv );
}
