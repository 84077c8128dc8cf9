#include <gtest/gtest.h>

#include <map>

#include "qorclient/vlan/VlanToVniSm.h"

namespace {

using Bridging::VlanId;
using Vxlan::VniExtOrNone;

class VlanToVniTest : public testing::Test {
 protected:
   VlanToVniTest() { localData->vtepInfoIs(); }
   ~VlanToVniTest() override {
      machine = nullptr;
      Kel::Entity::singletonsDel();
   }

   Kel::Ptr< Vxlan::VtiStatus > vti( char const * name = "Vxlan1" ) {
      return dir->vtiStatusIs( Wirekit::IntfId( name ) );
   }
   void mapIs( VlanId::Number vlan, VniExtOrNone::Number vni ) {
      vti()->vlanToVniMapIs( VlanId( vlan ), { VniExtOrNone( vni ), {} } );
   }
   void start() { machine = QorClient::vlanToVniSmFactory( dir ); }

   using Numbers = std::map< unsigned, unsigned >;
   Numbers vlans() const {
      Numbers numbers;
      for ( auto const & [vni, vlan] : localData->vtepInfo()->vniToVlanMap() ) {
         numbers[vni.value()] = vlan.value();
      }
      return numbers;
   }

   Kel::Ptr< QorClient::LocalData > const localData = QorClient::LocalData::singleton();
   Kel::Ptr< Vxlan::VtiStatusDir > const dir{ new Vxlan::VtiStatusDir( "vxlan" ) };
   Kel::Ptr< QorClient::VlanToVniSm > machine;
};

TEST_F( VlanToVniTest, FollowsTheOneTunnelInterface ) {
   start();
   EXPECT_EQ( vlans(), Numbers() );

   vti()->addrIs( Wirekit::IpAddr( 0x0a000001 ) );
   mapIs( 10, 5010 );
   mapIs( 20, 5020 );
   EXPECT_EQ( vlans(), ( Numbers{ { 5010, 10 }, { 5020, 20 } } ) );
   EXPECT_EQ( localData->vtepInfo()->address(), Wirekit::IpAddr( 0x0a000001 ) );

   mapIs( 10, 5011 );
   EXPECT_EQ( vlans(), ( Numbers{ { 5011, 10 }, { 5020, 20 } } ) ) << "moved to another VNI";
   vti()->vlanToVniMapDel( VlanId( 20 ) );
   EXPECT_EQ( vlans(), ( Numbers{ { 5011, 10 } } ) );

   dir->vtiStatusDelAll();
   EXPECT_EQ( vlans(), Numbers() );
   EXPECT_EQ( localData->vtepInfo()->address(), Wirekit::IpAddr() );

   dir->vtiStatusIs( Wirekit::IntfId( "Vxlan2" ) )
      ->vlanToVniMapIs( VlanId( 30 ), { VniExtOrNone( 5030 ), {} } );
   EXPECT_EQ( vlans(), ( Numbers{ { 5030, 30 } } ) );
}

TEST_F( VlanToVniTest, TheSweepKeepsTheFirstOfTwoVlansOnOneVni ) {
   mapIs( 10, 5000 );
   mapIs( 20, 5000 );
   mapIs( 30, 5030 );
   start();
   EXPECT_EQ( vlans(), ( Numbers{ { 5000, 10 }, { 5030, 30 } } ) );
}

TEST_F( VlanToVniTest, AConflictThatArisesLaterTakesBothOut ) {
   mapIs( 10, 5000 );
   start();
   mapIs( 20, 5000 );
   EXPECT_EQ( vlans(), Numbers() );
   // Nothing brings the VNI back but a change of one of the two, or the next sweep.
   vti()->vlanToVniMapDel( VlanId( 20 ) );
   EXPECT_EQ( vlans(), Numbers() );
   vti()->vlanToVniMapDel( VlanId( 10 ) );
   mapIs( 10, 5000 );
   EXPECT_EQ( vlans(), ( Numbers{ { 5000, 10 } } ) );
}

TEST_F( VlanToVniTest, CleanupTakesBackWhatWasPublished ) {
   vti()->addrIs( Wirekit::IpAddr( 1 ) );
   mapIs( 10, 5000 );
   start();
   machine->doCleanup();
   EXPECT_EQ( vlans(), Numbers() );
   EXPECT_EQ( localData->vtepInfo()->address(), Wirekit::IpAddr() );
   mapIs( 20, 5020 );
   EXPECT_EQ( vlans(), Numbers() );
}

TEST_F( VlanToVniTest, AMappingWithoutVniIsRefused ) {
   start();
   vti();
   EXPECT_THROW( vti()->vlanToVniMapIs( VlanId( 10 ), {} ), Kel::RangeException );
}

}  // namespace
