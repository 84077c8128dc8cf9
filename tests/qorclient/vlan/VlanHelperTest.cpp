#include <gmock/gmock.h>

#include "qorclient/vlan/VlanHelperSm.h"

namespace {

using Bridging::VlanId;
using QorClient::VniAndIntfForPolicyFragment;
using testing::ElementsAre;
using testing::IsEmpty;
using Vxlan::VniExt;
using Vxlan::VniExtOrNone;
using Wirekit::IntfId;

IntfId const et1( "Ethernet1" );
IntfId const et2( "Ethernet2" );

VniAndIntfForPolicyFragment binding( VniExtOrNone::Number vni, IntfId intf,
                                     char const * fragment = "web" ) {
   return { VniExtOrNone( vni ), intf, fragment };
}

class VlanHelperTest : public testing::Test {
 protected:
   void start() {
      machine = QorClient::vlanHelperSmFactory( status, vnis, allowed, trunkGroup, vtep );
   }
   void bind( VniAndIntfForPolicyFragment const & key ) { status->boundVniIs( key, true ); }
   void mapIs( VniExt::Number vni, VlanId::Number vlan ) {
      vtep->vniToVlanMapIs( VniExt( vni ), VlanId( vlan ) );
   }

   /** The VNIs that are asked for. */
   std::vector< unsigned > asked() const {
      std::vector< unsigned > numbers;
      for ( VniExtOrNone vni : vnis->vniSviInfoKeys() ) {
         numbers.push_back( vni.value() );
      }
      return numbers;
   }
   /** The interface's list; it is in the trunk group exactly while it has one. */
   std::string list( IntfId intf ) const {
      EXPECT_EQ( allowed->vlansHas( intf ), trunkGroup->intfList( intf ) );
      return allowed->vlans( intf ).stringValue();
   }

   Kel::Ptr< QorClient::Status > const status{ new QorClient::Status( "status" ) };
   Kel::Ptr< Vxlan::VniSviConfig > const vnis{ new Vxlan::VniSviConfig( "qor" ) };
   Kel::Ptr< Bridging::Input::AllowedVlans > const allowed{
      new Bridging::Input::AllowedVlans( "qor" ) };
   Kel::Ptr< Bridging::Input::TrunkGroup > const trunkGroup = allowed->trunkGroupIs( "qor" );
   Kel::Ptr< QorClient::VtepInfo > const vtep{ new QorClient::VtepInfo };
   Kel::Ptr< QorClient::VlanHelperSm > machine;
};

TEST_F( VlanHelperTest, AsksForBoundVnisAndAllowsTheirVlans ) {
   start();
   mapIs( 5099, 99 );
   bind( binding( 5010, et1 ) );
   EXPECT_THAT( asked(), ElementsAre( 5010 ) );
   EXPECT_EQ( list( et1 ), "" ) << "no VLAN yet";
   EXPECT_FALSE( status->vlanForVniHas( VniExtOrNone( 5099 ) ) ) << "nobody asked for it";

   mapIs( 5010, 10 );
   EXPECT_EQ( list( et1 ), "10" );
   // In the order of the bindings, with the VLAN once for each fragment.
   bind( binding( 5010, et1, "dns" ) );
   bind( binding( 5010, et2 ) );
   bind( binding( 5099, et1 ) );
   EXPECT_EQ( list( et1 ), "10,10,99" );
   EXPECT_EQ( list( et2 ), "10" );

   status->boundVniDel( binding( 5010, et2 ) );
   EXPECT_EQ( list( et2 ), "" );
   EXPECT_THAT( asked(), ElementsAre( 5010, 5099 ) ) << "still bound elsewhere";
   status->boundVniDelAll();
   EXPECT_EQ( list( et1 ), "" );
   EXPECT_THAT( asked(), IsEmpty() );
   EXPECT_EQ( status->vlanForVniCount(), 0u );
}

TEST_F( VlanHelperTest, ALostMappingLeavesTheListUntilItsNextUpdate ) {
   start();
   bind( binding( 5010, et1 ) );
   bind( binding( 5020, et1 ) );
   mapIs( 5010, 10 );
   mapIs( 5020, 20 );
   vtep->vniToVlanMapDel( VniExt( 5010 ) );
   EXPECT_FALSE( status->vlanForVniHas( VniExtOrNone( 5010 ) ) );
   EXPECT_EQ( list( et1 ), "10,20" );
   mapIs( 5020, 21 );
   EXPECT_EQ( list( et1 ), "21" );
}

TEST_F( VlanHelperTest, AWarmHostKeepsItsVlanOffItsInterface ) {
   status->warmHostIs( { Wirekit::EthAddr(), VlanId( 10 ) }, et1 );
   start();
   bind( binding( 5010, et1 ) );
   bind( binding( 5010, et2 ) );
   mapIs( 5010, 10 );
   EXPECT_EQ( list( et1 ), "" );
   EXPECT_EQ( list( et2 ), "10" );
   bind( binding( 5020, et1 ) );
   mapIs( 5020, 20 );
   EXPECT_EQ( list( et1 ), "20" );
}

TEST_F( VlanHelperTest, TheStartAdoptsWhatIsBoundAndDropsTheRest ) {
   bind( binding( 5010, et1 ) );
   bind( binding( 5030, et1 ) );
   mapIs( 5010, 10 );
   for ( VniExtOrNone::Number vni : { 5010u, 5020u, 5030u } ) {
      status->vlanForVniIs( VniExtOrNone( vni ), VlanId( 7 ) );
      vnis->vniSviInfoIs( { "qor", Vxlan::VniSviInfo::VniPriority::policy, VniExtOrNone( vni ) } );
   }
   vtep->addressIs( Wirekit::IpAddr( 1 ) );
   start();
   EXPECT_EQ( status->vlanForVni( VniExtOrNone( 5010 ) ), VlanId( 10 ) );
   EXPECT_EQ( status->vlanForVniCount(), 1u ) << "5020 is not bound, 5030 is not mapped";
   EXPECT_THAT( asked(), ElementsAre( 5010, 5030 ) );
   EXPECT_EQ( status->myVtepAddr(), Wirekit::IpAddr( 1 ) );
   EXPECT_EQ( machine->boundVniIntfId( VniExtOrNone( 5030 ) ), et1 );
   EXPECT_EQ( machine->boundVniIntfId( VniExtOrNone( 5020 ) ), IntfId() );

   machine = nullptr;
   EXPECT_THAT( asked(), IsEmpty() );
   EXPECT_EQ( status->vlanForVniCount(), 0u );
   EXPECT_EQ( list( et1 ), "10,7" ) << "a list goes with its bindings alone";
}

}  // namespace
