#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <stdexcept>

#include "live/lab/Laboratory.h"

namespace Lab {

namespace {

Mac const macA = macOf( "02:00:00:00:00:01" );
Mac const macB = macOf( "02:00:00:00:00:02" );
Mac const macRouter = macOf( "02:00:00:00:00:03" );

/** What a policy makes of a bridge: A's frames to the router, and back, pass the service between
 *  ports 4 (in the service's VLAN 200) and 5 (in the original VLAN 100). */
constexpr char const * flows = R"(
table=0,priority=10,vlan_tci=0x0000/0x1000,actions=push_vlan:0x8100,set_field:0x1064->vlan_vid,load:1->NXM_NX_REG3[],resubmit(,10)
table=0,priority=0,actions=resubmit(,10)
table=10,priority=20,in_port=1,dl_src=02:00:00:00:00:01,reg3=1,vlan_tci=0x1000/0x1000,actions=set_field:0x10c8->vlan_vid,resubmit(,20)
table=10,priority=0,actions=resubmit(,20)
table=20,actions=learn(table=40,priority=10,idle_timeout=300,NXM_OF_VLAN_TCI[0..11],NXM_OF_ETH_DST[]=NXM_OF_ETH_SRC[],load:NXM_OF_IN_PORT[]->NXM_NX_REG0[0..15]),resubmit(,40),resubmit(,45)
table=40,priority=30,vlan_tci=0x64/0xfff,dl_dst=02:00:00:00:00:01,actions=load:5->NXM_NX_REG0[0..15]
table=40,priority=30,vlan_tci=0xc8/0xfff,dl_dst=02:00:00:00:00:03,actions=load:4->NXM_NX_REG0[0..15]
table=45,priority=10,reg0=0,dl_vlan=100,actions=load:1->NXM_NX_REG0[0..15],resubmit(,48),load:2->NXM_NX_REG0[0..15],resubmit(,48),load:3->NXM_NX_REG0[0..15],resubmit(,48),load:5->NXM_NX_REG0[0..15],resubmit(,48)
table=45,priority=0,actions=resubmit(,48)
table=48,priority=10,reg0=1,in_port=1,actions=drop
table=48,priority=10,reg0=2,in_port=2,actions=drop
table=48,priority=10,reg0=3,in_port=3,actions=drop
table=48,priority=10,reg0=5,in_port=5,actions=drop
table=48,priority=0,actions=resubmit(,50)
table=50,priority=20,reg0=1,dl_vlan=200,actions=pop_vlan,output:1
table=50,priority=10,reg0=1,dl_vlan=100,actions=pop_vlan,output:1
table=50,priority=10,reg0=2,dl_vlan=100,actions=pop_vlan,output:2
table=50,priority=10,reg0=3,dl_vlan=100,actions=pop_vlan,output:3
table=50,priority=0,actions=output:NXM_NX_REG0[0..15]
)";

struct LaboratoryTest : testing::Test {
   void SetUp() override {
      if ( std::string const missing = Laboratory::missing(); !missing.empty() ) {
         GTEST_SKIP() << missing;
      }
      lab = std::make_unique< Laboratory >();
   }
   void program( std::string const & text ) {
      auto const file = folder.path() / "flows";
      std::ofstream( file ) << text;
      lab->openVSwitch().ofctl( "add-flows", Laboratory::bridge, { file } );
   }
   /** As ofctl takes them, behind the bridge. */
   Live::Folder folder;
   std::unique_ptr< Laboratory > lab;
};

bool hears( Station & station, Frame const & frame, double seconds = 10 ) {
   return Live::eventually(
      [&] {
         return std::ranges::any_of( station.heard(), [&]( Frame const & heard ) {
            return heard.to == frame.to && heard.from == frame.from && heard.type == frame.type &&
                   heard.content.starts_with( frame.content );
         } );
      },
      seconds );
}

TEST_F( LaboratoryTest, FramesOfOneHostPassTheServiceBothWays ) {
   Loop & loop = lab->loop();
   for ( int number = 1; number != 6; ++number ) {
      std::string const port = "port" + std::to_string( number );
      lab->wire( port );
      ASSERT_EQ( lab->number( port ), number );
   }
   program( flows );
   Station a( loop, lab->wire( "port1" ), macA );
   Station b( loop, lab->wire( "port2" ), macB );
   Station router( loop, lab->wire( "port3" ), macRouter );
   ServiceDevice service( loop, lab->wire( "port4" ), lab->wire( "port5" ), 200, 100 );

   Frame const fromA = udpFrame( macA, macRouter, "10.0.0.1", "10.0.0.3" );
   Frame const fromB = udpFrame( macB, macRouter, "10.0.0.2", "10.0.0.3" );
   // Each MAC is heard of once, so that nothing is flooded any more.
   router.send( arpRequest( macRouter, "10.0.0.3", "10.0.0.1" ) );
   EXPECT_TRUE( hears( b, arpRequest( macRouter, "10.0.0.3", "10.0.0.1" ) ) );
   auto const before = service.counts();
   EXPECT_EQ( Stream( loop, a, router, fromA, 100, 5 ).end(), ( Stream::Summary{ .sent = 5 } ) );
   EXPECT_EQ( service.counts().there, before.there + 5 );
   EXPECT_EQ( service.counts().back, before.back + 5 );
   EXPECT_EQ( Stream( loop, b, router, fromB, 100, 5 ).end(),
              ( Stream::Summary{ .sent = 5, .past = 5 } ) );
   EXPECT_EQ( service.counts().there, before.there + 5 ) << "B's frames pass by";

   service.isOn( false );
   Stream withoutService( loop, a, router, fromA, 100, 5 );
   EXPECT_EQ( withoutService.end( 0.3 ), ( Stream::Summary{ .sent = 5, .lost = 5 } ) );
   EXPECT_EQ( withoutService.packets()[4].arrived, 0 );
   EXPECT_EQ( Stream( loop, b, router, fromB, 100, 5 ).end().lost, 0 );
   service.isOn( true );

   // At a full rate, and over the daemon's end: its flows are gone with it.
   Stream fast( loop, a, router, fromA, 1000 );
   EXPECT_TRUE( Live::eventually( [&] { return fast.packets().size() > 300; } ) );
   lab->openVSwitch().killDaemon();
   lab->openVSwitch().startDaemon();
   // The daemon answers before its bridge does.
   EXPECT_TRUE( Live::eventually( [this] {
      try {
         return lab->openVSwitch().flows( Laboratory::bridge ).empty();
      } catch ( std::runtime_error const & ) {
         return false;
      }
   } ) );
   program( flows );
   auto const programmed = Clock::now();
   std::size_t const back = fast.packets().size();
   EXPECT_TRUE( Live::eventually( [&] { return fast.packets().size() > back + 1500; } ) );
   auto const sum = fast.end( 1 );
   EXPECT_GT( sum.lost, 0 );
   EXPECT_EQ( sum.past, 0 );
   EXPECT_EQ( sum.duplicated, 0 );
   EXPECT_LT( fast.rightSince( Clock::now() ) - programmed, std::chrono::seconds( 1 ) );
}

TEST_F( LaboratoryTest, HostsHearWhatTheyShould ) {
   Loop & loop = lab->loop();
   Station a( loop, lab->wire( "port1" ), macA );
   Station tagged( loop, lab->wire( "port2" ), macB, 100 );
   // Both ways, with and without the tag.
   program( R"(
in_port=1,actions=push_vlan:0x8100,set_field:0x1064->vlan_vid,output:2
in_port=2,dl_vlan=100,actions=pop_vlan,output:1)" );
   for ( Frame const & frame : { broadcastFrame( macA ), plainFrame( macA, macRouter ),
                                 arpReply( macA, "10.0.0.1", macB, "10.0.0.2" ),
                                 neighbourSolicitation( macA, "2001:db8::1", "2001:db8::2" ) } ) {
      a.send( frame );
      EXPECT_TRUE( hears( tagged, frame ) );
      tagged.send( frame );
      EXPECT_TRUE( hears( a, frame ) );
   }
   Stream stream( loop, tagged, a, plainFrame( macB, macA ), 100, 5 );
   EXPECT_EQ( stream.end(), ( Stream::Summary{ .sent = 5, .past = 5 } ) );
   lab->carrierIs( "port2", false );
   a.send( broadcastFrame( macA ) );
   EXPECT_FALSE( hears( tagged, broadcastFrame( macA ), 0.3 ) );
   lab->carrierIs( "port2", true );
   // A port that is away, and another one in its place.
   lab->unplug( "port2" );
   tagged.send( broadcastFrame( macB ) );
   EXPECT_FALSE( hears( a, broadcastFrame( macB ), 0.3 ) );
   lab->wire( "port3" );
   program( "in_port=" + std::to_string( lab->number( "port3" ) ) +
            ",dl_vlan=100,actions=pop_vlan,output:1" );
   tagged.moveTo( lab->wire( "port3" ) );
   tagged.send( broadcastFrame( macB ) );
   EXPECT_TRUE( hears( a, broadcastFrame( macB ) ) );
}

TEST_F( LaboratoryTest, ARemoteEndPointSpeaksThroughATunnel ) {
   Loop & loop = lab->loop();
   Station a( loop, lab->wire( "port1" ), macA );
   Station far( loop, lab->remote( "192.0.2.9", 5000 ), macB );
   Station other( loop, lab->remote( "192.0.2.9", 6000 ), macB );
   lab->openVSwitch().vsctl( { "add-port", Laboratory::bridge, "tunnel", "--", "set", "interface",
                               "tunnel", "type=vxlan", "options:remote_ip=flow", "options:key=flow",
                               std::string( "options:local_ip=" ) + Laboratory::localEnd,
                               "ofport_request=9" } );
   program( R"(
in_port=1,actions=load:5000->NXM_NX_TUN_ID[],load:0xc0000209->NXM_NX_TUN_IPV4_DST[],output:9
in_port=9,tun_id=5000,tun_src=192.0.2.9,actions=output:1)" );
   // The first one may wait for the other's address.
   Stream( loop, a, far, plainFrame( macA, macB ), 10, 5 ).end( 0.2 );
   EXPECT_EQ( Stream( loop, a, far, plainFrame( macA, macB ), 100, 50 ).end(),
              ( Stream::Summary{ .sent = 50, .past = 50 } ) );
   other.send( broadcastFrame( macB ) );
   EXPECT_FALSE( hears( a, broadcastFrame( macB ), 0.3 ) );
   far.send( broadcastFrame( macB ) );
   EXPECT_TRUE( hears( a, broadcastFrame( macB ) ) );
}

}  // namespace

}  // namespace Lab
