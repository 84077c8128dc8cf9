#include "live/DataCentre.h"

/*
 * The story of `./dev live`, each step held by the frames themselves: whether they come, how often,
 * and whether the service has had them.
 */

namespace {

class DataCentreTest : public Live::DataCentre {};

/** Which hosts are caught, by their addresses, beside A. */
std::string fromHost( std::string const & name, std::string const & mac ) {
   return R"("flow":{"from-)" + name + R"(":{"interceptPoint":"ingress","match":{"srcMac":")" +
          mac + R"(","vni":10100},"action":{"vni":20100}}})";
}

TEST_F( DataCentreTest, FramesOfOneHostPassTheService ) {
   EXPECT_EQ( sends( *a, *router ), direct() );
   EXPECT_EQ( sends( *b, *router ), direct() );
   intercept();
   EXPECT_EQ( field( "interface/status/eth/vxlan/vtiStatus/Vxlan1/vlanToVniMap/1000", "vni" ),
              "20100" );

   auto const before = service->counts();
   EXPECT_EQ( sends( *a, *router ), passed() );
   EXPECT_EQ( service->counts().there, before.there + 10 );
   EXPECT_EQ( service->counts().back, before.back + 10 );
   EXPECT_EQ( sends( *b, *router ), direct() );
   EXPECT_EQ( sends( *router, *b ), direct() );
   // Who begins does not matter.
   Lab::Stream fromRouter( lab->loop(), *router, *a, Lab::plainFrame( macRouter, macA ), 200, 10 );
   EXPECT_EQ( fromRouter.end().lost, 0 );
   EXPECT_EQ( service->counts().back, before.back + 20 );

   // All kinds of frames; each answer is for A alone.
   for ( Frame const & frame :
         { Lab::broadcastFrame( macA ), Lab::arpRequest( macA, "10.0.0.1", "10.0.0.254" ),
           Lab::neighbourSolicitation( macA, "2001:db8::1", "2001:db8::2" ),
           Lab::udpFrame( macA, macRouter, "10.0.0.1", "10.0.0.254" ) } ) {
      EXPECT_EQ( sends( *a, *router, frame ), passed() );
      Frame fromB = frame;
      fromB.from = macB;
      EXPECT_EQ( sends( *b, *router, fromB ), direct() );
   }
   auto there = service->counts().there;
   a->send( Lab::plainFrame( macA, macE ) );
   EXPECT_TRUE( hears( *router, Lab::plainFrame( macA, macE ) ) ) << "nobody knows where E is";
   EXPECT_EQ( service->counts().there, ++there );
   // With tags: of the VLAN, of none, and of one that the port does not carry.
   Frame tagged = Lab::plainFrame( macA, macRouter );
   for ( std::uint16_t const vlan : { originalVlan, std::uint16_t( 0 ), std::uint16_t( 300 ) } ) {
      tagged.vlan = vlan;
      lab->wire( "Ethernet1" ).send( tagged );
      EXPECT_EQ( hears( *router, tagged, vlan == 300 ? 0.3 : 5 ), vlan != 300 ) << vlan;
   }
   EXPECT_EQ( service->counts().there, there + 2 );
   EXPECT_EQ( service->counts().strange, before.strange );

   service->isOn( false );
   EXPECT_EQ( sends( *a, *router, Lab::plainFrame( macA, macRouter ), 10, 0.5 ), lost() );
   EXPECT_FALSE( hears( *router, Lab::plainFrame( macA, macRouter ), 0.1 ) );
   EXPECT_EQ( sends( *b, *router ), direct() );
   service->isOn( true );
   EXPECT_EQ( sends( *a, *router ), passed() );
}

TEST_F( DataCentreTest, RulesFollowTheirHost ) {
   intercept();
   EXPECT_EQ( sends( *a, *router ), passed() );
   a->moveTo( lab->wire( "Ethernet4" ) );
   a->send( Lab::broadcastFrame( macA ) );
   EXPECT_TRUE(
      Live::eventually( [&] { return learntAt( originalVlan, macA ) == "\"Ethernet4\""; } ) );
   EXPECT_TRUE( Live::eventually( [&] {
      return device.run( { "show", "rules" } ) == 0 &&
             device.said().find( "web_from-a-from-Et1" ) == std::string::npos &&
             device.said().find( "web_from-a-from-Et4" ) != std::string::npos;
   } ) )
      << device.said();
   EXPECT_TRUE( becomes( "web/from-a", "programmed" ) );
   EXPECT_EQ( sends( *a, *router ), passed() );

   // One that sends tags.
   Station tagged( lab->loop(), port( "Ethernet7", { "vlan_mode=trunk", "trunks=100" } ), macD,
                   originalVlan );
   apply( R"({"vxlancontroller/version2/vni":{"10100":{"macVtepTable":{
             "02:00:00:00:00:0d":{"vtepAddr":"192.0.2.1"}}}}})" );
   tagged.send( Lab::broadcastFrame( macD ) );
   EXPECT_TRUE( isLearnt( originalVlan, macD ) );
   EXPECT_EQ( sends( tagged, *router ), direct() );
   applyPolicy( fromHost( "d", "02:00:00:00:00:0d" ) );
   EXPECT_TRUE( becomes( "web/from-d", "programmed" ) );
   EXPECT_EQ( sends( tagged, *router ), passed() );
   EXPECT_EQ( sends( *a, *router ), passed() );
}

TEST_F( DataCentreTest, RemoteHostsAreReached ) {
   intercept();
   auto const c = remote( originalVni, macC );
   auto const other = remote( 30000, macE );
   // The first frames may wait for the end point's own address.
   sends( *b, *c, Lab::plainFrame( macB, macC ), 3, 0.5 );
   EXPECT_EQ( sends( *b, *c ), direct() );
   EXPECT_EQ( sends( *c, *b ), direct() );
   EXPECT_EQ( sends( *a, *c ), passed() );
   EXPECT_EQ( sends( *c, *router, Lab::broadcastFrame( macC ) ), direct() );
   EXPECT_EQ( sends( *b, *c, Lab::broadcastFrame( macB ) ), direct() );
   other->send( Lab::broadcastFrame( macE ) );
   EXPECT_FALSE( hears( *b, Lab::broadcastFrame( macE ), 0.3 ) ) << "its VNI is none of ours";
   EXPECT_EQ( learntAt( originalVlan, macC ), "(nil)" ) << "the controller says where it is";

   // The VNI that got its VLAN from the pool goes through the tunnel as well.
   auto const d = remote( serviceVni, macD );
   apply( R"({"vxlancontroller/version2/vni":{"20100":{"macVtepTable":{
             "02:00:00:00:00:0d":{"vtepAddr":"192.0.2.9"}}}}})" );
   EXPECT_TRUE( Live::eventually(
      [&] { return sends( *a, *d, Lab::plainFrame( macA, macD ), 1, 0.3 ).lost == 0; } ) );
   EXPECT_EQ( sends( *a, *d ), direct() );
   EXPECT_EQ( sends( *d, *a ), direct() );
}

TEST_F( DataCentreTest, AFullTableIsToldUntilThereIsRoom ) {
   intercept();
   auto & ovs = lab->openVSwitch();
   ovs.limitTable( Lab::Laboratory::bridge, preLookup,
                   static_cast< int >( ovs.flows( Lab::Laboratory::bridge, preLookup ).size() ) );
   applyExample( "intercept-b.json" );
   EXPECT_TRUE( becomes( "web/from-b", "no room" ) );
   EXPECT_EQ( sends( *b, *router ), direct() );
   EXPECT_EQ( sends( *a, *router ), passed() );
   ovs.vsctl( { "clear", "bridge", Lab::Laboratory::bridge, "flow_tables" } );
   EXPECT_TRUE( becomes( "web/from-b", "programmed" ) );
   EXPECT_EQ( sends( *b, *router ), passed() );
}

}  // namespace
