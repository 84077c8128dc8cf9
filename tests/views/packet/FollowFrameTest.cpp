#include "views/packet/FollowFrame.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

#include "documents/NumberNames.h"
#include "platform/corestore/ValueText.h"
#include "scenario/Switch.h"

namespace {

using Views::Frame;

Wirekit::EthAddr mac( char const * text ) {
   return *Wirekit::EthAddr::parse( text );
}

/** From host 0a at a port, to `to`. */
Frame frame( char const * in, char const * to, std::optional< std::uint16_t > vlan = {} ) {
   return { .in = Wirekit::IntfId( in ),
            .from = mac( "02:00:00:00:00:0a" ),
            .to = mac( to ),
            .vlan = vlan };
}
Frame fromTunnel( std::uint32_t vni, char const * to ) {
   Frame one = frame( "Vxlan1", to );
   one.vni = vni;
   return one;
}

class FollowFrameTest : public testing::Test {
 protected:
   FollowFrameTest() {
      patch( R"({
         "bridging/switchIntfConfig":{"switchIntfConfig":{"Ethernet1":{"trunkNativeVlan":100},
            "Ethernet3":{},"Port-Channel10":{}}},
         "bridging/config":{"vlanConfig":{
            "100":{"intf":{"Ethernet1":true,"Ethernet2":true,"Vxlan1":true}}},
            "vidToFidMap":{"200":7}},
         "bridging/input/dynvlan/allowedvlan/qor":{"vlans":{"Ethernet3":"20,200"},
            "trunkGroup":{"qor":{"intfList":{"Ethernet3":true,"Port-Channel10":true}}}},
         "interface/status/eth/vxlan":{"vtiStatus":{"Vxlan1":{"addr":"192.0.2.1","vlanToVniMap":{
            "100":{"vni":10100},"200":{"vni":20100,"source":64}}}}},
         "vxlancontroller/version2/vni":{
            "10100":{"macVtepTable":{"02:00:00:00:00:01":{"vtepAddr":"192.0.2.1"},
               "02:00:00:00:00:02":{"vtepAddr":"192.0.2.2"},
               "02:00:00:00:00:03":{"vtepAddr":"192.0.2.2"}}},
            "20100":{"macVtepTable":{"02:00:00:00:00:04":{"vtepAddr":"192.0.2.4"}}}},
         "bridging/l2Rib/qor/hostInput":{"host":{
            "02:00:00:00:ff:01|200":{"ciDest":{"intfId":"Ethernet3"}},
            "02:00:00:00:ff:01|100":{"ciDest":{"intfId":"Ethernet9"}}}},
         "bridging/status":{"fdbStatus":{
            "7|02:00:00:00:ff:01":{"intf":"Ethernet1"},
            "7|02:00:00:00:00:0b":{"intf":"Port-Channel10"},
            "100|02:00:00:00:00:02":{"intf":"Vxlan1"},
            "100|02:00:00:00:00:05":{"intf":"Vxlan1"},
            "100|02:00:00:00:00:0c":{"intf":"Ethernet1"},
            "100|02:00:00:00:00:0d":{"intf":"Ethernet2"}}}})" );
   }

   void patch( char const * document ) {
      device.patch( Documents::withNumbers( Corestore::parseJson( document ) ) );
   }
   std::string way( Frame const & one ) const {
      std::ostringstream text;
      Views::followFrame( device.entityManager(), one ).print( text );
      return text.str();
   }
   /** The same from where it is in its VLAN, without the step that learns. */
   std::string behindIn( Frame const & one ) const {
      std::string text = way( one );
      text.erase( 0, text.find( '\n' ) + 1 );
      return text.starts_with( "learnt" ) ? text.substr( text.find( '\n' ) + 1 ) : text;
   }
   Views::PacketWalk walk( Frame const & one ) const {
      return Views::followFrame( device.entityManager(), one );
   }

   Scenarios::Switch device{ { .with = Scenarios::Switch::With::StateAlone } };
};

TEST_F( FollowFrameTest, AFrameIsInAVlanThatItsPortCarriesOrIsDropped ) {
   auto const in = [this]( Frame const & one ) {
      std::string const text = way( one );
      return text.substr( 0, text.find( "\nlearnt" ) + 1 );
   };
   char const * const to = "02:00:00:00:00:0d";
   EXPECT_EQ( in( frame( "Ethernet1", to ) ),
              "in          Ethernet1, untagged: VLAN 100 (native)\n" );
   EXPECT_EQ( in( frame( "Ethernet1", to, 0 ) ),
              "in          Ethernet1, tagged with a priority alone: VLAN 100 (native)\n" );
   EXPECT_EQ( in( frame( "Ethernet3", to, 200 ) ), "in          Ethernet3, tagged: VLAN 200\n" );
   // The agent asked for VLAN 200 and not for 100; without a list of its own the link has it.
   EXPECT_EQ( in( frame( "Port-Channel10", to, 200 ) ),
              "in          Port-Channel10, tagged: VLAN 200\n" );
   auto const reason = [this]( Frame const & one ) { return walk( one ).dropReason(); };
   EXPECT_EQ( reason( frame( "Port-Channel10", to, 100 ) ),
              "Port-Channel10 does not carry VLAN 100" );
   EXPECT_EQ( reason( frame( "Ethernet2", to ) ), "Ethernet2 does not carry VLAN 1" );
   EXPECT_EQ( reason( frame( "Ethernet3", to, 2 ) ), "Ethernet3 does not carry VLAN 2" );
   EXPECT_EQ( reason( fromTunnel( 7, to ) ), "Vxlan1 has no VLAN for VNI 7" );
   EXPECT_EQ( reason( frame( "Ethernet9", to ) ), "there is no port Ethernet9" );
   Frame group = frame( "Ethernet1", to );
   group.from = mac( "03:00:00:00:00:0a" );
   EXPECT_EQ( reason( group ), "no host sends from 03:00:00:00:00:0a" );
}

TEST_F( FollowFrameTest, AHostIsWhereTheFirstThatKnowsItSays ) {
   EXPECT_EQ( behindIn( frame( "Port-Channel10", "02:00:00:00:ff:01", 200 ) ),
              "host        02:00:00:00:ff:01 in VLAN 200: Ethernet3 (L2 RIB)\n"
              "out         Ethernet3, tagged 200\n" );
   EXPECT_EQ( way( frame( "Ethernet3", "02:00:00:00:00:0b", 200 ) ),
              "in          Ethernet3, tagged: VLAN 200\n"
              "learnt      02:00:00:00:00:0a in VLAN 200 at Ethernet3\n"
              "host        02:00:00:00:00:0b in VLAN 200: Port-Channel10 (learnt)\n"
              "out         Port-Channel10, tagged 200\n" );
   EXPECT_EQ( way( fromTunnel( 10100, "02:00:00:00:00:0c" ) ),
              "in          Vxlan1, VNI 10100: VLAN 100\n"
              "host        02:00:00:00:00:0c in VLAN 100: Ethernet1 (learnt)\n"
              "out         Ethernet1, untagged\n" );
   for ( char const * remote : { "02:00:00:00:00:02", "02:00:00:00:00:03" } ) {
      std::string const words =
         std::string( "host        " ) + remote + " in VLAN 100: 192.0.2.2 (controller)\n";
      EXPECT_EQ( behindIn( frame( "Ethernet1", remote ) ),
                 words + "out         VNI 10100 to 192.0.2.2\n" );
      EXPECT_EQ( way( fromTunnel( 10100, remote ) ),
                 "in          Vxlan1, VNI 10100: VLAN 100\n" + words +
                    "drop        that is where it came from\n" );
   }
   EXPECT_EQ( walk( fromTunnel( 10100, "02:00:00:00:00:05" ) ).dropReason(),
              "that is where it came from" );
   EXPECT_EQ( walk( frame( "Ethernet1", "02:00:00:00:00:0c" ) ).dropReason(),
              "that is where it came from" );
   EXPECT_EQ( walk( frame( "Ethernet1", "02:00:00:00:ff:01" ) ).dropReason(),
              "Ethernet9 does not carry VLAN 100" );
}

TEST_F( FollowFrameTest, WhatHasNoPlaceGoesEverywhereButBack ) {
   std::string const everywhere =
      "out         Ethernet2, tagged 100\n"
      "out         VNI 10100 to 192.0.2.2\n";
   EXPECT_EQ(
      behindIn( frame( "Ethernet1", "ff:ff:ff:ff:ff:ff" ) ),
      "flood       ff:ff:ff:ff:ff:ff in VLAN 100: to all that carries VLAN 100\n" + everywhere );
   // The end point of the switch itself is none to send to.
   EXPECT_EQ( behindIn( frame( "Ethernet1", "02:00:00:00:00:01" ) ),
              "flood       02:00:00:00:00:01 in VLAN 100 is not known: to all that carries VLAN "
              "100\n" +
                 everywhere );
   EXPECT_EQ( behindIn( fromTunnel( 10100, "33:33:00:00:00:01" ) ),
              "flood       33:33:00:00:00:01 in VLAN 100: to all that carries VLAN 100\n"
              "out         Ethernet1, untagged\n"
              "out         Ethernet2, tagged 100\n" );
   EXPECT_EQ( walk( frame( "Ethernet3", "02:00:00:00:00:99", 20 ) ).dropReason(),
              "nothing else carries VLAN 20" );
}

TEST_F( FollowFrameTest, RulesBeforeLookupAreForTheirTagAndGoByPriority ) {
   patch( R"({"pinflow/dyninput/qor":{"flowEntry":{
         "tagged":{"tableType":2,"priority":1,"match":{"matchFieldSet":["inIntf","vlanId","ethSrc"],
            "inIntf":["Ethernet1","Vxlan1"],"vlanId":100,"vlanIdMask":4095,
            "ethSrc":"02:00:00:00:00:00","ethSrcMask":"ff:ff:ff:ff:ff:00"},
            "actions":{"actionFieldSet":["vlanId","outputNormal"],"vlanId":200}},
         "tagged-untagged":{"tableType":2,"priority":1,"match":{"matchFieldSet":["inIntf"],
            "inIntf":["Ethernet1","Ethernet3"]},
            "actions":{"actionFieldSet":["vlanId","outputNormal"],"vlanId":200}},
         "any":{"tableType":2,"match":{"matchFieldSet":["inIntf","ethDst"],"inIntf":["Ethernet1"],
            "ethDst":"02:00:00:00:00:0d","ethDstMask":"ff:ff:ff:ff:ff:ff"},
            "actions":{"actionFieldSet":["outputNormal"]}},
         "web-arp":{"tableType":1,"match":{"matchFieldSet":["arp","vlanId"],"vlanId":200,
            "vlanIdMask":4095},"actions":{"actionFieldSet":["outputNormal"]}}}},
      "pinflow/pfHwStatusDir/dyninputstatus/qor":{"flowStats":{"tagged":{"status":1},
         "tagged-untagged":{"status":1},"any":{"status":1},"web-arp":{"status":1}}}})" );
   std::string const router =
      "learnt      02:00:00:00:00:0a in VLAN 200 at Ethernet1\n"
      "host        02:00:00:00:ff:01 in VLAN 200: Ethernet3 (L2 RIB)\n"
      "out         Ethernet3, tagged 200\n";
   EXPECT_EQ( way( frame( "Ethernet1", "02:00:00:00:ff:01", 100 ) ),
              "in          Ethernet1, tagged: VLAN 100\n"
              "rule        tagged: VLAN 200\n" +
                 router );
   Frame arp = frame( "Ethernet1", "02:00:00:00:ff:01" );
   arp.etherType = Views::EtherType::arp;
   EXPECT_EQ( way( arp ),
              "in          Ethernet1, untagged: VLAN 100 (native)\n"
              "rule        tagged-untagged: VLAN 200\n"
              "rule        web-arp: VLAN 200 stays\n" +
                 router );
   EXPECT_EQ( behindIn( fromTunnel( 10100, "02:00:00:00:00:0b" ) ),
              "rule        tagged: VLAN 200\n"
              "host        02:00:00:00:00:0b in VLAN 200: Port-Channel10 (learnt)\n"
              "out         Port-Channel10, tagged 200\n" );
   EXPECT_EQ( behindIn( frame( "Ethernet3", "02:00:00:00:00:0b", 200 ) ),
              "host        02:00:00:00:00:0b in VLAN 200: Port-Channel10 (learnt)\n"
              "out         Port-Channel10, tagged 200\n" );
   patch( R"({"pinflow/pfHwStatusDir/dyninputstatus/qor":{"flowStats":{"tagged":{"status":5},
      "tagged-untagged":null}}})" );
   Frame other = frame( "Ethernet1", "02:00:00:00:00:0d" );
   EXPECT_EQ( way( other ),
              "in          Ethernet1, untagged: VLAN 100 (native)\n"
              "inactive    tagged-untagged: no answer\n"
              "rule        any: VLAN 100 stays\n"
              "learnt      02:00:00:00:00:0a in VLAN 100 at Ethernet1\n"
              "host        02:00:00:00:00:0d in VLAN 100: Ethernet2 (learnt)\n"
              "out         Ethernet2, tagged 100\n" );
   other.vlan = 100;
   EXPECT_THAT( behindIn( other ),
                testing::StartsWith( "inactive    tagged: rejected (5: no room in the flow "
                                     "table)\nrule        any: " ) );
   patch( R"({"pinflow/dyninput/qor":{"flowEntry":{"any":{
      "actions":{"actionFieldSet":["vlanId"],"vlanId":0}}}}})" );
   EXPECT_EQ( walk( other ).dropReason(), "any: there is no VLAN 0" );
}

TEST_F( FollowFrameTest, RulesBeforeTransmissionDecideOfEachCopy ) {
   patch( R"({"pinflow/dyninput/qor":{"flowEntry":{
         "to-1":{"tableType":3,"match":{"matchFieldSet":["vlanId"],"vlanId":100,"vlanIdMask":4095},
            "actions":{"actionFieldSet":["vlanId","outputIntf"],"vlanId":100,
               "outputIntf":["Ethernet1"]}},
         "to-2":{"tableType":3,"match":{"matchFieldSet":["vlanId"],"vlanId":100,"vlanIdMask":4095},
            "actions":{"actionFieldSet":["vlanId","outputIntf","dropTag"],"vlanId":30,
               "outputIntf":["Ethernet2"]}},
         "to-tunnel":{"tableType":3,"actions":{"actionFieldSet":["vlanId","outputIntf"],
            "vlanId":200,"outputIntf":["Vxlan1"]}}}},
      "pinflow/pfHwStatusDir/dyninputstatus/qor":{"flowStats":{"to-1":{"status":1},
         "to-2":{"status":1},"to-tunnel":{"status":1}}}})" );
   EXPECT_EQ( behindIn( fromTunnel( 10100, "ff:ff:ff:ff:ff:ff" ) ),
              "flood       ff:ff:ff:ff:ff:ff in VLAN 100: to all that carries VLAN 100\n"
              "rule        to-1: VLAN 100\n"
              "out         Ethernet1, tagged 100\n"
              "rule        to-2: VLAN 30, the tag is dropped\n"
              "out         Ethernet2, untagged\n" );
   EXPECT_EQ( behindIn( frame( "Ethernet1", "02:00:00:00:00:03" ) ),
              "host        02:00:00:00:00:03 in VLAN 100: 192.0.2.2 (controller)\n"
              "rule        to-tunnel: VLAN 200\n"
              "out         VNI 20100 to 192.0.2.2\n" );
   patch( R"({"pinflow/dyninput/qor":{"flowEntry":{
      "to-1":{"actions":{"actionFieldSet":["outputIntf"]}},
      "to-tunnel":{"actions":{"vlanId":300}}}}})" );
   EXPECT_EQ( behindIn( frame( "Ethernet2", "02:00:00:00:00:0c", 100 ) ),
              "host        02:00:00:00:00:0c in VLAN 100: Ethernet1 (learnt)\n"
              "rule        to-1: VLAN 100 stays\n"
              "out         Ethernet1, untagged\n" );
   EXPECT_EQ( walk( frame( "Ethernet1", "02:00:00:00:00:03" ) ).dropReason(),
              "VLAN 300 has no VNI" );
}

TEST_F( FollowFrameTest, RoutedPolicyIsForIpFramesToTheVirtualRouter ) {
   patch( R"({"routing/fhrp/vrMacStatus":{"virtualRouterMac":"02:00:00:00:ff:01"},
      "pinflow/dyninput/qorl3":{
         "trafficEndPoint":{"red|10.0.0.1|100|02:00:00:00:00:0a":"web",
            "red|2001:db8::1|100|02:00:00:00:00:0a":"web","blue|10.0.0.2|0|02:00:00:00:00:0b":"db"},
         "flowEntry":{
            "via":{"tableType":1,"priority":2,"match":{
               "matchFieldSet":["srcGroup","dstGroup","vlanId","l4DstPort","routed"],
               "srcGroup":"web","dstGroup":"db","vlanId":100,"l4DstPort":80},
               "actions":{"actionFieldSet":["outputNexthop"],"outputNexthop":["10.0.0.9"]}},
            "out":{"tableType":1,"priority":1,"match":{"matchFieldSet":["srcGroup","routed"],
               "srcGroup":"web"},
               "actions":{"actionFieldSet":["outputIntf"],"outputIntf":["Ethernet2"]}},
            "on":{"tableType":1,"match":{"matchFieldSet":["ipDst","routed"],"ipDst":"10.0.0.0",
               "ipDstMask":"255.255.255.0"},"actions":{"actionFieldSet":["outputNormal"]}}}},
      "pinflow/pfHwStatusDir/dyninputstatus/qorl3":{"flowStats":{"via":{"status":1},
         "out":{"status":1},"on":{"status":1}}}})" );
   auto const ip = []( char const * from, char const * to ) {
      Frame one = frame( "Ethernet1", "02:00:00:00:ff:01" );
      one.ipFrom = *Wirekit::IpGenAddr::parse( from );
      one.ipTo = *Wirekit::IpGenAddr::parse( to );
      one.etherType = one.ipFrom.isV6() ? Views::EtherType::ip6 : Views::EtherType::ip4;
      one.protocol = 6;
      one.toPort = 80;
      return one;
   };
   EXPECT_EQ( way( ip( "10.0.0.1", "10.0.0.2" ) ),
              "in          Ethernet1, untagged: VLAN 100 (native)\n"
              "rule        via: to next hop 10.0.0.9\n"
              "learnt      02:00:00:00:00:0a in VLAN 100 at Ethernet1\n"
              "out         next hop 10.0.0.9, whose MAC is not in the state\n" );
   EXPECT_EQ( way( ip( "2001:db8::1", "2001:db8::2" ) ),
              "in          Ethernet1, untagged: VLAN 100 (native)\n"
              "rule        out: out Ethernet2\n"
              "learnt      02:00:00:00:00:0a in VLAN 100 at Ethernet1\n"
              "out         Ethernet2, tagged 100\n" );
   std::string const on =
      "learnt      02:00:00:00:00:0a in VLAN 100 at Ethernet1\n"
      "host        02:00:00:00:ff:01 in VLAN 100: Ethernet9 (L2 RIB)\n"
      "drop        Ethernet9 does not carry VLAN 100\n";
   EXPECT_EQ( way( ip( "10.0.0.2", "10.0.0.3" ) ),
              "in          Ethernet1, untagged: VLAN 100 (native)\n"
              "rule        on: goes on\n" +
                 on );
   Frame other = ip( "10.0.0.1", "10.0.0.2" );
   other.ipFrom = {};
   EXPECT_EQ( way( other ),
              "in          Ethernet1, untagged: VLAN 100 (native)\n"
              "note        to the virtual router, but without the addresses that rules of routed "
              "policy match\n" +
                 on );
   other = ip( "10.0.0.1", "10.0.0.2" );
   other.to = mac( "02:00:00:00:00:0d" );
   EXPECT_THAT( behindIn( other ), testing::StartsWith( "host" ) );
}

}  // namespace
