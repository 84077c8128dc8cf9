#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "qorclient/l3/QorClientL3FragmentSm.h"
#include "qorclient/l3/QorClientL3GroupSm.h"

/*
 * What no document can show: a VNI whose VLAN changes in place, and in which order entries of the
 * flow table change.
 */

namespace {

using Kel::Ptr;
using Log = std::vector< std::string >;

class TableWatchSm : public Kel::StateMachine {
   KEL_LOCAL_STATE_MACHINE( TableWatchSm )
   KEL_REACTOR( KelTable, OpenFlowTable::PinFlowHwConfig const, table,
                KEL_ROWS( KEL_ON( trafficEndPoint, handleEndPoint )
                          KEL_ON( flowEntry, handleFlow ) ) )
   KEL_GIVEN( Log *, log )
   void handleEndPoint( OpenFlowTable::TrafficStreamEndPointId const & id ) {
      tell( table()->trafficEndPointHas( id ), id.stringValue() );
   }
   void handleFlow( Kel::Name const & name ) {
      tell( table()->flowEntryHas( name ),
            name.stringValue() + " " + std::to_string( table()->flowEntry( name ).match.vlanId ) );
   }

 private:
   void tell( bool stands, std::string const & what ) {
      log()->push_back( ( stands ? "+ " : "- " ) + what );
   }
};

class RemapTest : public testing::Test {
 protected:
   RemapTest() { mapTo( 10 ); }
   ~RemapTest() override { Kel::Entity::singletonsDel(); }
   void mapTo( std::uint16_t vlan ) { vtepInfo->vniToVlanMapIs( vni, Bridging::VlanId( vlan ) ); }
   Log take() { return std::exchange( log, {} ); }

   Log log;
   Vxlan::VniExt const vni{ 1000 };
   Ptr< QorClient::VtepInfo > vtepInfo = QorClient::LocalData::singleton()->vtepInfoIs();
   Ptr< OpenFlowTable::PinFlowHwConfig > table{ new OpenFlowTable::PinFlowHwConfig( "table" ) };
   Ptr< OpenFlowTable::HwStatus > hardware{ new OpenFlowTable::HwStatus( "hardware" ) };
   Ptr< TableWatchSm > watch = Kel::create< TableWatchSm >( table, &log );
};

TEST_F( RemapTest, EndPointsLeaveTheOldVlanBeforeTheyComeInTheNew ) {
   Ptr< QorL3::V1::GroupMemberConfig > config( new QorL3::V1::GroupMemberConfig( "web" ) );
   auto set = config->memberSetIs( Vxlan::VniOrNone( 1000 ) );
   for ( char const * ip : { "10.0.0.1", "10.0.0.2" } ) {
      QorL3::V1::Member member;
      member.ip = Wirekit::IpGenAddr::parse( ip ).value();
      set->memberIs( member );
   }
   auto machine = QorClientL3::V1::groupMemberConfigSmFactory(
      Kel::String( "web" ), config, L3::VrfName( "red" ), table, vtepInfo );
   std::string const mac = "|00:00:00:00:00:00";
   EXPECT_EQ( take(), ( Log{ "+ red|10.0.0.1|10" + mac, "+ red|10.0.0.2|10" + mac } ) );
   mapTo( 20 );
   EXPECT_EQ( take(), ( Log{ "- red|10.0.0.1|10" + mac, "- red|10.0.0.2|10" + mac,
                             "+ red|10.0.0.1|20" + mac, "+ red|10.0.0.2|20" + mac } ) );
   machine->handleMemberSet();
   EXPECT_EQ( take(), Log{} );
   machine = nullptr;
   EXPECT_EQ( take(), ( Log{ "- red|10.0.0.1|20" + mac, "- red|10.0.0.2|20" + mac } ) );
}

TEST_F( RemapTest, AFlowKeepsItsVlanUntilItIsHandledAgain ) {
   Ptr< QorL3::V1::FlowGroupConfig > config( new QorL3::V1::FlowGroupConfig( { 1, 1 } ) );
   QorL3::V1::FlowConfig flow;
   flow.name = "f";
   flow.matchFieldSet = QorL3::V1::MatchField::vni;
   flow.match.vni = vni;
   flow.actionFieldSet = QorL3::V1::ActionField::leadingFlag;
   flow.enabled = true;
   config->flowIs( flow );
   auto machine = QorClientL3::V1::flowGroupConfigSmFactory(
      L3::VrfName( "red" ), config, table, Ptr( new QorClientL3::V1::CachedFlowConfig( "cache" ) ),
      vtepInfo );
   EXPECT_EQ( take(), Log{ "+ f 10" } );
   mapTo( 20 );
   EXPECT_EQ( take(), Log{} );
   machine->handleFlow( "f" );
   EXPECT_EQ( take(), ( Log{ "- f 0", "+ f 20" } ) );
   // What is only a label is not in the entry: it is written again in place.
   flow.firstLabel = "label";
   config->flowIs( flow );
   EXPECT_EQ( take(), Log{} );
}

TEST_F( RemapTest, NoVrfHasANameOfMoreThan100Bytes ) {
   for ( std::size_t length : { 100u, 101u } ) {
      auto dir = [&]( Kel::TypeRecord const & type ) {
         Ptr< Kel::Dir > made( new Kel::Dir( "config" ) );
         made->createEntity( type.name, std::string( length, 'v' ) );
         return made;
      };
      auto start = [&] {
         Ptr< Kel::Dir > const status( new Kel::Dir( "status" ) );
         QorClientL3::V1::fragmentSmFactory( dir( QorL3::V1::FragmentConfig::kelType() ), status,
                                             table, hardware );
         QorClientL3::V1::groupSmFactory(
            Ptr( new Kel::Dir( "types" ) ), Ptr( new QorL3::V1::GroupTypeStatus( "status" ) ),
            dir( QorL3::V1::GroupSetConfig::kelType() ), status, table, hardware );
      };
      if ( length == 100 ) {
         EXPECT_NO_THROW( start() );
      } else {
         EXPECT_THROW( start(), Kel::RangeException );
      }
   }
}

}  // namespace
