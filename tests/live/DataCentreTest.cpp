#include <chrono>
#include <thread>

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

   // What is told of a frame is what the bridge does; another one has other ports.
   lab->openVSwitch().addBridge( "br1" );
   auto const trace = [&]( char const * bridge ) {
      return device.run( { "trace-packet", "--in", "Ethernet1", "--from", "02:00:00:00:00:0a",
                           "--to", "02:00:00:00:ff:01", "--bridge", bridge, "--run-folder",
                           lab->openVSwitch().folder() } );
   };
   EXPECT_EQ( trace( Lab::Laboratory::bridge ), 0 ) << device.said();
   EXPECT_NE( device.said().find( "bridge      br0 does the same" ), std::string::npos );
   EXPECT_EQ( trace( "br1" ), 2 );
   EXPECT_NE( device.said().find( "bridge br1 has no port Ethernet1" ), std::string::npos );
   EXPECT_EQ( trace( "br2" ), 2 );

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

   // Another hand's change, with nobody there to undo it.
   driver->kill();
   lab->openVSwitch().ofctl( "del-flows", Lab::Laboratory::bridge, {} );
   EXPECT_EQ( trace( Lab::Laboratory::bridge ), 1 );
   EXPECT_NE( device.said().find( "bridge      br0 has nothing leave" ), std::string::npos );
}

TEST_F( DataCentreTest, RulesFollowTheirHost ) {
   intercept();
   EXPECT_EQ( sends( *a, *router ), passed() );
   a->moveTo( lab->wire( "Ethernet4" ) );
   // The bridge may count frames at the old port after those at the new one: one does not do.
   EXPECT_TRUE( Live::eventually( [&] {
      a->send( Lab::broadcastFrame( macA ) );
      std::this_thread::sleep_for( std::chrono::milliseconds( 200 ) );
      return device.run( { "show", "rules" } ) == 0 &&
             device.said().find( "web_from-a-from-Et1" ) == std::string::npos &&
             device.said().find( "web_from-a-from-Et4" ) != std::string::npos;
   } ) )
      << device.said();
   EXPECT_TRUE( becomes( "web/from-a", "programmed" ) );
   EXPECT_TRUE( Live::eventually( [&] { return sends( *a, *router ) == passed(); } ) );

   // One that sends tags.
   Station tagged( lab->loop(), port( "Ethernet7", { "vlan_mode=trunk", "trunks=100" } ), macD,
                   originalVlan );
   apply( R"({"vxlancontroller/version2/vni":{"10100":{"macVtepTable":{
             "02:00:00:00:00:0d":{"vtepAddr":"192.0.2.1"}}}}})" );
   EXPECT_TRUE( introduces( tagged ) );
   EXPECT_EQ( sends( tagged, *router ), direct() );
   applyPolicy( fromHost( "d", "02:00:00:00:00:0d" ) );
   EXPECT_TRUE( becomes( "web/from-d", "programmed" ) );
   // The switch may take some frames as before yet.
   EXPECT_TRUE( Live::eventually( [&] { return sends( tagged, *router ) == passed(); } ) );
   EXPECT_EQ( sends( *a, *router ), passed() );
}

TEST_F( DataCentreTest, RemoteHostsAreReached ) {
   // Another tunnel, to one end point alone, is none of the agent's.
   lab->openVSwitch().vsctl( { "add-port", Lab::Laboratory::bridge, "vxlan-z", "--", "set",
                               "interface", "vxlan-z", "type=vxlan", "options:remote_ip=192.0.2.77",
                               "options:key=5" } );
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

TEST_F( DataCentreTest, RulesOfPortsComeAndGoWithThem ) {
   // Between two hosts frames are in the service's VLAN: E is at a port that the bridge has not
   // yet.
   apply( R"({"interface/status/eth/vxlan":{"vtiStatus":{"Vxlan1":{"vlanToVniMap":{
             "300":{"vni":10300}}}}},
             "vxlancontroller/version2/vni":{"20300":{"macVtepTable":{
             "02:00:00:00:00:0c":{"vtepAddr":"192.0.2.9"}}}},
             "qor/version1/policy":{"policy":{"policyFragment":{"tap":{
             "originalVni":10300,"serviceVni":20300,
             "serviceIntfSet":{"near":{"intf":{"Ethernet8":true,"Ethernet9":true}}},
             "flow":{
             "in":{"interceptPoint":"ingress","serviceIntfKey":"near",
                   "match":{"vni":10300},"action":{"vni":20300}},
             "out":{"interceptPoint":"egress","serviceIntfKey":"near",
                    "match":{"vni":20300},"action":{"vni":10300}}}}}}}})" );
   Station d( lab->loop(), port( "Ethernet8", { "vlan_mode=trunk", "trunks=300" } ), macD, 300 );
   EXPECT_TRUE( becomes( "tap/in", "6" ) );
   EXPECT_TRUE( driverSays( "refused (6): the bridge has no port Ethernet9" ) );
   Station e( lab->loop(), port( "Ethernet9", { "vlan_mode=trunk", "trunks=300" } ), macE, 300 );
   EXPECT_TRUE( becomes( "tap/in", "programmed" ) );
   EXPECT_TRUE( becomes( "tap/out", "programmed" ) );
   EXPECT_EQ( sends( d, e, Lab::broadcastFrame( macD ) ), direct() );
   EXPECT_EQ( sends( d, e ), direct() );
   auto const c = remote( 20300, macC );
   EXPECT_TRUE( Live::eventually( [&] {
      d.send( Lab::broadcastFrame( macD ) );
      return hears( *c, Lab::broadcastFrame( macD ), 0.1 );
   } ) )
      << "the service's VLAN goes through the tunnel";

   lab->unplug( "Ethernet9" );
   EXPECT_TRUE( becomes( "tap/out", "6" ) );
   EXPECT_TRUE( isLearnt( 1000, macE, false ) );
   EXPECT_EQ( sends( d, e, Lab::plainFrame( macD, macE ), 10, 0.3 ), lost() );
   lab->plug( "Ethernet9" );
   lab->openVSwitch().vsctl( { "set", "port", "Ethernet9", "vlan_mode=trunk", "trunks=300" } );
   EXPECT_TRUE( becomes( "tap/out", "programmed" ) );
   EXPECT_TRUE( Live::eventually( [&] { return sends( d, e ) == direct(); } ) );
}

TEST_F( DataCentreTest, WhatOtherHandsDoToTheBridgeIsNamedAndUndone ) {
   intercept();
   auto & ovs = lab->openVSwitch();
   auto const flows = [&] {
      auto all = ovs.flows( Lab::Laboratory::bridge );
      std::erase_if( all, []( std::string const & flow ) {
         return flow.find( "idle_timeout" ) != std::string::npos;
      } );
      std::ranges::sort( all );
      return all;
   };
   EXPECT_EQ( sends( *a, *router ), passed() );
   auto const before = flows();
   struct Hand {
      char const * command;
      std::string flow;
      char const * told;
   };
   std::string const rule = "table=10,in_port=" + std::to_string( lab->number( "Ethernet1" ) );
   for ( Hand const & hand :
         { Hand{ "add-flow", "table=0,priority=65000,actions=drop",
                 "added a flow of bridge br0, which is none of ours" },
           Hand{ "del-flows", rule,
                 "removed a flow of bridge br0, pinflow/dyninput/qor web_from-a-from-Et1" },
           Hand{ "mod-flows", rule + ",actions=resubmit(,11)",
                 "changed a flow of bridge br0, pinflow/dyninput/qor web_from-a-from-Et1" },
           Hand{ "del-flows", "table=45", "removed a flow of bridge br0, topology" } } ) {
      ovs.ofctl( hand.command, Lab::Laboratory::bridge, { hand.flow } );
      EXPECT_TRUE( driverSays( hand.told ) ) << hand.told;
      EXPECT_TRUE( Live::eventually( [&] { return flows() == before; } ) ) << hand.told;
      // What has been met before goes the old way for some milliseconds more.
      EXPECT_TRUE( Live::eventually( [&] { return sends( *a, *router ) == passed(); } ) )
         << hand.told;
   }

   // The daemon may abort where hosts go in the moment in which it learns them from its counts,
   // which it takes twice a second.
   std::this_thread::sleep_for( std::chrono::seconds( 1 ) );
   std::size_t const hosts = ovs.flows( Lab::Laboratory::bridge, learntHosts ).size();
   ovs.ofctl( "del-flows", Lab::Laboratory::bridge, { "table=32" } );
   EXPECT_TRUE( driverSays( "removed a flow of bridge br0, which it has learnt" ) );
   EXPECT_TRUE( Live::eventually(
      [&] { return ovs.flows( Lab::Laboratory::bridge, learntHosts ).size() == hosts; } ) );
   EXPECT_EQ( learntAt( originalVlan, macB ), "\"Ethernet2\"" ) << "hosts are where they were";

   // One bridge is for one switch.
   std::vector< std::string > const where{ "--switch", "leaf2", "--redis",
                                           device.server().address() };
   auto const runs = [&]( std::vector< std::string > words, char const * file ) {
      words.insert( words.end(), where.begin(), where.end() );
      auto process = std::make_unique< Live::Process >( words, ovs.folder() / file );
      process->ended( 30 );
      return process->output();
   };
   runs( { QORCLIENT_PROGRAM, "init" }, "init2" );
   EXPECT_NE( runs( { QORSWITCH_PROGRAM, "openvswitch", "--bridge", Lab::Laboratory::bridge,
                      "--run-folder", ovs.folder() },
                    "steer2" )
                 .find( "bridge br0 is steered by another process" ),
              std::string::npos );
}

TEST_F( DataCentreTest, HostsLeaveAVlanWithTheirPort ) {
   lab->openVSwitch().vsctl( { "set", "port", "Ethernet1", "tag=300" } );
   EXPECT_TRUE( isLearnt( originalVlan, macA, false ) );
   EXPECT_TRUE( isLearnt( originalVlan, macB ) );
}

struct AgeingTest : DataCentreTest {
   AgeingTest() { driverOptions = { "--ageing", "2" }; }
};

TEST_F( AgeingTest, SilentHostsAreToldAsGone ) {
   intercept();
   Lab::Stream talk( lab->loop(), *a, *router, Lab::plainFrame( macA, macRouter ), 50 );
   EXPECT_TRUE( isLearnt( originalVlan, macB, false ) );
   // One that speaks stays, and stays caught, however long ago the others were heard of.
   std::this_thread::sleep_for( std::chrono::seconds( 5 ) );
   auto const sum = talk.end();
   EXPECT_EQ( sum, passed( sum.sent ) );
   EXPECT_TRUE( isLearnt( originalVlan, macB, false ) );
   EXPECT_TRUE( introduces( *b ) );
}

/** Hosts of two groups that speak through the virtual router; D and E are next hops. */
class RoutedPolicyTest : public DataCentreTest {
 protected:
   static std::string flow( std::string const & name, std::string const & fields,
                            std::string const & match, std::string const & actionFields,
                            std::string const & action, int priority = 100 ) {
      return "\"" + name + R"(":{"enabled":true,"priority":)" + std::to_string( priority ) +
             R"(,"matchFieldSet":[)" + fields + R"(],"match":{)" + match +
             R"(},"actionFieldSet":[)" + actionFields + R"(],"action":{)" + action + "}}";
   }
   bool isState( std::string const & path, std::string const & number ) {
      std::string state;
      bool const is = Live::eventually( [&] {
         state = field( "qorclientl3/version1/global/" + path, "state" );
         return state == number;
      } );
      EXPECT_TRUE( is ) << path << " is " << state;
      return is;
   }
   bool isFlow( std::string const & name, std::string const & state ) {
      return isState( "fragmentStatus/red/flowGroup/1|0/flow/" + name, state );
   }
};

TEST_F( RoutedPolicyTest, FramesGoToTheirNextHops ) {
   apply( R"({"mgmt/controller/status":{"enabled":true,"leaderServiceStatusDir":{"service":{
                 "QorL3":{"enabled":true}}}},
              "qorl3/version1/global/groupTypeConfig":{"config":{"group":{
                 "web":{"bytes":[1,0,0]},"db":{"bytes":[1,0,0]},"hops":{"bytes":[1,0,0]}}}},
              "qorl3/version1/global/groupSetConfig":{"red":{"group":{
                 "web":{"memberSet":{"10100":{"member":{"0|10.0.0.1|02:00:00:00:00:0a":{}}}}},
                 "db":{"memberSet":{"10100":{"member":{"0|10.0.0.2|02:00:00:00:00:0b":{}}}}},
                 "hops":{"memberSet":{"10100":{"member":{
                    "0|10.0.0.5|02:00:00:00:00:0e":{}}}}}}}},
              "qorl3/version1/global/fragmentConfig":{"red":{"flowGroup":{"1|0":{"flow":{)" +
          flow( "to-db", R"("srcGroup","dstGroup")", R"("srcGroup":"web","dstGroup":"db")",
                R"("nexthop")", R"("nexthop":"10.0.0.4")" ) +
          "," +
          flow( "to-web", R"("srcGroup","dstGroup")", R"("srcGroup":"db","dstGroup":"web")",
                R"("nexthop")", R"("nexthop":"10.0.0.5")" ) +
          "," +
          flow( "plain", R"("srcGroup","dstGroup","ipProtocol","l4DstPort")",
                R"("srcGroup":"web","dstGroup":"db","ipProtocol":17,"l4DstPort":53)",
                R"("trailingFlag")", "", 200 ) +
          "," +
          flow( "out", R"("ip4Dst")", R"("ipDst":"10.7.0.0/16")", R"("outputIntf")",
                R"("outputIntf":"Ethernet8")" ) +
          "," +
          flow( "flagged", R"("ip4Dst")", R"("ipDst":"10.8.0.0/16")", R"("leadingFlag","nexthop")",
                R"("nexthop":"10.0.0.5")" ) +
          "}}}}}}" );
   auto const d = station( "Ethernet7", macD );
   auto const e = station( "Ethernet8", macE );
   // The driver hears of ports in its own time.
   EXPECT_TRUE( Live::eventually( [&] {
      e->send( Lab::broadcastFrame( macE ) );
      return learntAt( originalVlan, macE ) != "(nil)";
   } ) );
   for ( char const * const name : { "to-db", "to-web", "plain", "out" } ) {
      EXPECT_TRUE( isFlow( name, "1" ) );
   }
   EXPECT_TRUE( isFlow( "flagged", "2" ) );
   EXPECT_TRUE( driverSays( "flagged is refused (7): the leading flag" ) );

   Frame const toDb = Lab::udpFrame( macA, macRouter, "10.0.0.1", "10.0.0.2" );
   EXPECT_EQ( sends( *a, *d, toDb, 10, 0.5 ), lost() ) << "nobody knows the next hop yet";
   EXPECT_FALSE( hears( *router, toDb, 0.1 ) );
   d->send( Lab::arpRequest( macD, "10.0.0.4", "10.0.0.254" ) );
   EXPECT_TRUE( isLearnt( originalVlan, macD ) );
   // What the first ones have met is revised in the switch's own time.
   EXPECT_TRUE( Live::eventually( [&] { return sends( *a, *d, toDb ) == direct(); } ) );
   Frame lone = toDb;
   // Without it the packet would be shorter than it says.
   lone.markIs( {} );
   a->send( lone );
   EXPECT_TRUE( Live::eventually( [&] {
      return std::ranges::any_of( d->heard(), []( Frame const & heard ) {
         constexpr std::size_t hopsLeft = 8;
         return heard.type == 0x0800 && heard.content.at( hopsLeft ) == 63;
      } );
   } ) )
      << "one hop less than 64";
   // A switch that begins anew hears of the next hop from the driver.
   lab->openVSwitch().killDaemon();
   lab->openVSwitch().startDaemon();
   EXPECT_TRUE( Live::eventually( [&] { return sends( *a, *d, toDb, 1, 0.2 ) == direct( 1 ); } ) );
   EXPECT_EQ( sends( *b, *e, Lab::udpFrame( macB, macRouter, "10.0.0.2", "10.0.0.1" ) ), direct() );
   // What no flow is for goes to the router, as does what is not for it.
   EXPECT_EQ( sends( *a, *router, Lab::udpFrame( macA, macRouter, "10.0.0.1", "10.0.0.2", 9, 53 ) ),
              direct() );
   EXPECT_EQ( sends( *a, *router, Lab::udpFrame( macA, macRouter, "10.0.0.1", "10.8.0.1" ) ),
              direct() );
   EXPECT_EQ( sends( *a, *router ), direct() );
   EXPECT_EQ( sends( *a, *b, Lab::udpFrame( macA, macB, "10.0.0.1", "10.0.0.2" ) ), direct() );
   Frame out = Lab::udpFrame( macA, macRouter, "10.0.0.1", "10.7.0.1" );
   out.markIs( {} );
   a->send( out );
   EXPECT_TRUE( hears( *e, out ) ) << "out of its port, whoever it is for";
   EXPECT_FALSE( hears( *router, out, 0.1 ) );
}

}  // namespace
