#include "views/packet/BridgeTrace.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace Views {

namespace {

using testing::ElementsAre;

BridgePorts somePorts() {
   return bridgePorts(
      "netdev@ovs-netdev: hits:8 missed:1\n"
      "  br0:\n"
      "    Ethernet1 3/4: (system)\n"
      "    br0 65534/1: (tap)\n"
      "    vxlan-far 8/6: (vxlan: key=flow, remote_ip=192.0.2.7)\n"
      "    vxlan-qor 7/6: (vxlan: key=flow, local_ip=192.0.2.1, remote_ip=flow)\n"
      "  br1:\n"
      "    Ethernet2 2/5: (system)\n"
      "    vxlan-b 9/6: (vxlan: key=flow, remote_ip=flow)\n",
      "br0" );
}

Frame someFrame( std::string const & in, std::optional< std::uint16_t > vlan ) {
   return { .in = Wirekit::IntfId( in ),
            .from = *Wirekit::EthAddr::parse( "02:00:00:00:00:0a" ),
            .to = *Wirekit::EthAddr::parse( "02:00:00:00:00:0b" ),
            .vlan = vlan,
            .vni = 10100,
            .ipFrom = *Wirekit::IpGenAddr::parse( "10.0.0.1" ),
            .ipTo = *Wirekit::IpGenAddr::parse( "10.0.0.2" ) };
}

TEST( BridgeTraceTest, AFrameIsToldByTheBridgesNumbers ) {
   EXPECT_EQ(
      tracedFlow( someFrame( "Ethernet1", 100 ), false, {}, somePorts() ),
      "in_port=3,dl_src=02:00:00:00:00:0a,dl_dst=02:00:00:00:00:0b,dl_vlan=100,ip,nw_ttl=64,"
      "nw_src=10.0.0.1,nw_dst=10.0.0.2" );
   EXPECT_EQ( tracedFlow( someFrame( "Vxlan1", {} ), true, *Wirekit::IpAddr::parse( "192.0.2.1" ),
                          somePorts() )
                 ->find( "in_port=7,tun_src=192.0.2.254,tun_dst=192.0.2.1,tun_id=10100,dl_src" ),
              0U );
   EXPECT_FALSE( tracedFlow( someFrame( "Ethernet2", 100 ), false, {}, somePorts() ) );
}

TEST( BridgeTraceTest, CopiesLeaveWithTheTagsThatTheyHaveThen ) {
   auto const exits = [&]( std::string const & trace, std::optional< std::uint16_t > vlan ) {
      return tracedExits( trace, someFrame( "Ethernet1", vlan ), somePorts() );
   };
   std::string const actions = "Datapath actions: ";
   EXPECT_THAT( exits( actions + "pop_vlan,4,push_vlan(vid=200,pcp=0),4,set(ipv4(ttl=63)),9", 100 ),
                ElementsAre( "Ethernet1, tagged 200", "Ethernet1, untagged", "unknown: 9" ) );
   EXPECT_THAT( exits( actions + "drop", {} ), ElementsAre() );
   std::string const tunnelled =
      "    set_field:192.0.2.9->tun_dst\n    set_field:0x2774->tun_id\n    output:7\n";
   EXPECT_THAT( exits( tunnelled + "     -> output to kernel tunnel\n" + actions +
                          "clone(tnl_push(tnl_port(6),header(size=50)),4),1",
                       {} ),
                ElementsAre( "VNI 10100 to 192.0.2.9", "br0, untagged" ) );
   // The kernel's datapath has the tunnel as a port.
   EXPECT_THAT( exits( tunnelled + actions + "set(tunnel(tun_id=0x2774,dst=192.0.2.9)),6,5", {} ),
                ElementsAre( "Ethernet2, untagged", "VNI 10100 to 192.0.2.9" ) );
   EXPECT_THAT(
      exits( tunnelled + "    >> skipping output to input port\n" + actions + "drop", {} ),
      ElementsAre() );
}

}  // namespace

}  // namespace Views
