#include <gtest/gtest.h>

#include <algorithm>

#include "platform/corestore/ValueText.h"
#include "scenario/Switch.h"
#include "views/tables/Words.h"
#include "views/why/Flows.h"

namespace {

class WhyTest : public testing::Test {
 protected:
   std::string summary( char const * flow ) const {
      for ( Views::FlowPlace const & one : Views::flowsOf( device.entityManager() ) ) {
         if ( Views::flowPath( one.place, one.flow ) == flow ) {
            return Views::chainOf( device.entityManager(), one ).summary();
         }
      }
      return "no such flow";
   }
   struct Step {
      char const * patch;
      char const * summary;
   };
   /** Each step gives the flow what the summary before it has asked for. */
   void expectSteps( char const * flow, std::initializer_list< Step > steps ) {
      for ( Step const & step : steps ) {
         device.patch( Corestore::parseJson( step.patch ) );
         EXPECT_EQ( summary( flow ), step.summary ) << step.patch;
      }
   }

   struct Answer {
      char const * flow;
      char const * summary;
   };
   void expectAnswers( std::initializer_list< char const * > patches,
                       std::initializer_list< Answer > answers ) {
      for ( char const * patch : patches ) {
         device.patch( Corestore::parseJson( patch ) );
      }
      for ( Answer const & answer : answers ) {
         EXPECT_EQ( summary( answer.flow ), answer.summary ) << answer.flow;
      }
   }

   Scenarios::Switch device;
};

TEST_F( WhyTest, APolicyFlowNamesTheFirstThingThatItLacks ) {
   expectSteps(
      "web/a",
      { { R"({"qor/version1/policy":{"policy":{"policyFragment":{"web":{
            "originalVni":100,"serviceVni":200,"flow":{
               "twin":{"match":{"srcMac":"02:00:00:00:00:0a","vni":100},"action":{"vni":200}},
               "a":{"match":{"srcMac":"02:00:00:00:00:0a","vni":100},"action":{"vni":200}},
               "back":{"interceptPoint":1,"match":{"vni":200},"action":{"vni":100}},
               "none":{"serviceIntfKey":"near","match":{"vni":200}},
               "other":{"serviceIntfKey":"near","match":{"vni":300},"action":{"vni":100}},
               "near":{"serviceIntfKey":"near","match":{"vni":200},"action":{"vni":100}}}}}}}})",
          "waiting: the controller client is not enabled" },
        { R"({"mgmt/controller/status":{"enabled":true}})",
          "waiting: no controller leads, so no service is enabled" },
        { R"({"mgmt/controller/status":{"leaderServiceStatusDir":{"service":{"Qor":{}}}}})",
          "waiting: neither of the services Qor and QorL3 is enabled" },
        { R"({"mgmt/controller/status":{"leaderServiceStatusDir":{"service":
            {"QorL3":{"enabled":true}}}}})",
          "waiting: VNI 100 (original) has no VLAN: it is asked for, there is no VXLAN interface" },
        { R"({"interface/status/eth/vxlan":{"vtiStatus":{"Vxlan1":{"vlanToVniMap":
            {"10":{"vni":100}}}}}})",
          "waiting: VNI 200 (service) has no VLAN: it is asked for, Vx1 does not have it" },
        { R"({"interface/status/eth/vxlan":{"vtiStatus":{"Vxlan1":{"vlanToVniMap":
            {"20":{"vni":200}}}}}})",
          "waiting: 02:00:00:00:00:0a in VLAN 10 is not learnt" } } );
   EXPECT_EQ( summary( "web/none" ), "rejected: the flow has no action VNI" );
   EXPECT_EQ( summary( "web/other" ),
              "waiting: VNI 300 is neither the fragment's original VNI (100) nor its service VNI "
              "(200)" );
   EXPECT_EQ( summary( "web/back" ),
              "waiting: none of the flows that catch hosts has a rule yet (waiting flows: 2)" );
   expectSteps(
      "web/a",
      { { R"({"mlag/hostTable":{"hostEntry":{"20|02:00:00:00:00:0a":{"intf":"Vxlan1"}}}})",
          "waiting: 02:00:00:00:00:0a in VLAN 10 is known to the peer on Vx1, behind the tunnel" },
        { R"({"bridging/status":{"fdbStatus":{"10|02:00:00:00:00:0a":{"intf":"Ethernet1",
            "entryType":9}}}})",
          "waiting: 02:00:00:00:00:0a in VLAN 10 is learnt on Et1, but neither locally nor on the "
          "peer (entry type 9)" },
        { R"({"bridging/status":{"fdbStatus":{"10|02:00:00:00:00:0a":{"entryType":4}}}})",
          "waiting: 02:00:00:00:00:0a in VLAN 10 is learnt on Et1, which is not in VLAN 10" },
        { R"({"mlag/status":{"mlagState":1},"mlag/config":{"peerLinkIntfId":"Ethernet1"}})",
          "waiting: 02:00:00:00:00:0a in VLAN 10 is learnt on Et1, which is not in VLAN 10" },
        { R"({"mlag/config":{"peerLinkIntfId":"Ethernet9"},
            "bridging/config":{"vidToFidMap":{"9":7,"10":7}},"bridging/status":
            {"fdbStatus":{"7|02:00:00:00:00:0a":{"intf":"Ethernet1","entryType":4}}}})",
          "waiting: 02:00:00:00:00:0a in VLAN 10 is learnt on Et1, but in VLAN 9, which has the "
          "same "
          "fid" },
        { R"({"bridging/config":{"vidToFidMap":null}})",
          "waiting: 02:00:00:00:00:0a in VLAN 10 is learnt on Et1, which is not in VLAN 10" },
        { R"({"bridging/config":{"vlanConfig":{"10":{"intf":{"Ethernet1":true}}}}})",
          "waiting: 02:00:00:00:00:0a in VLAN 10 is learnt on Et1, which has no switchport "
          "configuration" },
        { R"({"bridging/switchIntfConfig":{"switchIntfConfig":
            {"Ethernet1":{"trunkNativeVlan":10}}}})",
          "waiting: 02:00:00:00:00:0a in VLAN 10 is learnt on Et1, not taken up by the agent" },
        { R"({"bridging/status":{"fdbStatus":{"10|02:00:00:00:00:0a":{"moveCount":1}}}})",
          "waiting: the hardware has not answered for web_a-from-Et1-to-any" },
        { R"({"pinflow/pfHwStatusDir/dyninputstatus/qor":{"flowStats":
            {"web_a-from-Et1-to-any":{"status":5}}}})",
          "rejected: the hardware does not take web_a-from-Et1-to-any: rejected (5: no room in the "
          "flow table)" },
        { R"({"pinflow/pfHwStatusDir/dyninputstatus/qor":{"flowStats":
            {"web_a-from-Et1-to-any":{"status":1}}}})",
          "programmed, but the hardware has not answered for web_a-from-Et1-to-any-untagged" },
        { R"({"pinflow/pfHwStatusDir/dyninputstatus/qor":{"flowStats":
            {"web_a-from-Et1-to-any-untagged":{"status":1}}}})",
          "programmed" },
        { R"({"pinflow/dyninput/qor":{"flowEntry":{"web_a-from-Et1-to-any":null}}})",
          "programmed, but web_a-from-Et1-to-any is not in the flow table" } } );
   EXPECT_EQ( summary( "web/back" ),
              "waiting: the hardware has not answered for web_back-from-any-to-Et1" );
   EXPECT_EQ(
      summary( "web/twin" ),
      "waiting: 02:00:00:00:00:0a is the host of web/a too, and only the flow that was read "
      "last follows it" );
   expectSteps(
      "web/near",
      { { "{}", R"(waiting: the fragment has no set "near")" },
        { R"({"qor/version1/policy":{"policy":{"policyFragment":{"web":{
            "serviceIntfSet":{"near":{}}}}}}})",
          R"(waiting: the set "near" has no interface)" },
        { R"({"qor/version1/policy":{"policy":{"policyFragment":{"web":{
            "serviceIntfSet":{"near":{"intf":{"Ethernet5":true}}}}}}}})",
          "waiting: the hardware has not answered for web_near-from-Et5-to-any" },
        { R"({"mgmt/controller/status":{"enabled":false},"qorclient/version1/policystatus":
            {"policyFragment":{"web":{"flowStatus":{"gone":{"flowState":2}}}}}})",
          "waiting: the controller client is not enabled" } } );
   EXPECT_NE( summary( "web/gone" ), "no such flow" );
}

TEST_F( WhyTest, APolicyFlowIsNotTakenForMoreThanItIs ) {
   expectAnswers(
      { R"({"mgmt/controller/status":{"enabled":true,
               "leaderServiceStatusDir":{"service":{"Qor":{"enabled":true}}}},
            "openflow/hwstatus":{"arpRuleRequired":true},
            "bridging/switchIntfConfig":{"switchIntfConfig":{"Ethernet1":{},"Ethernet2":{}}},
            "bridging/config":{"vlanConfig":{"30":{"intf":{"Ethernet1":true,"Ethernet2":true}}}},
            "bridging/status":{"fdbStatus":{"30|02:00:00:00:00:0a":{"intf":"Ethernet1"}}},
            "interface/status/eth/vxlan":{"vtiStatus":{"Vxlan1":{"vlanToVniMap":{"10":{"vni":100},
               "20":{"vni":200},"21":{"vni":201},"30":{"vni":300},"31":{"vni":301}}}}},
            "qor/version1/policy":{"policy":{"policyFragment":{
               "one":{"originalVni":100,"serviceVni":200,
                  "serviceIntfSet":{"far":{"intf":{"Ethernet6":true}}},"flow":{
                     "in":{"serviceIntfKey":"far","match":{"vni":100},"action":{"vni":200}},
                     "late":{"serviceIntfKey":"far","match":{"vni":400},"action":{"vni":200}},
                     "a":{"match":{"srcMac":"02:00:00:00:00:01","vni":100},"action":{"vni":200}},
                     "x_in":{"serviceIntfKey":"far","match":{"vni":200},"action":{"vni":100}}}},
               "one_x":{"originalVni":201,"serviceVni":100,
                  "serviceIntfSet":{"far":{"intf":{"Ethernet6":true}}},"flow":{
                     "in":{"serviceIntfKey":"far","match":{"vni":201},"action":{"vni":0}}}},
               "web":{"originalVni":300,"serviceVni":301,
                  "serviceIntfSet":{"mid":{"intf":{"Ethernet7":true,"Ethernet8":true}}},"flow":{
                     "b":{"match":{"srcMac":"02:00:00:00:00:0a","vni":300},"action":{"vni":301}},
                     "back":{"interceptPoint":1,"match":{"vni":300},"action":{"vni":301}},
                     "mid":{"serviceIntfKey":"mid","match":{"vni":301},"action":{"vni":300}}}}}}}})",
        R"({"pinflow/pfHwStatusDir/dyninputstatus/qor":{"flowStats":{
               "one-arp":{"status":1},"one_x-arp":{"status":1},
               "one_in-from-Et6-to-any":{"status":1},"web_b-from-Et1-to-any":{"status":1},
               "web_back-from-any-to-Et1":{"status":1}}},
            "bridging/switchIntfConfig":{"switchIntfConfig":{"Ethernet1":{"trunkNativeVlan":31}}},
            "interface/status/eth/vxlan":{"vtiStatus":{"Vxlan1":{"vlanToVniMap":{"10":null}}}}})",
        R"({"interface/status/eth/vxlan":{"vtiStatus":{"Vxlan1":{"vlanToVniMap":
               {"11":{"vni":100},"40":{"vni":400}}}}}})",
        R"({"pinflow/pfHwStatusDir/dyninputstatus/qor":{"flowStats":
               {"one_x_in-from-Et6-to-any":{"status":1}}}})" },
      { { "one/in",
          "programmed, but one_in-from-Et6-to-any matches VLAN 10, and VNI 100 is VLAN 11 by now" },
        { "one/late",
          "waiting: there is no rule for frames that enter on Et6: VNI 400 is neither the "
          "fragment's original VNI (100) nor its service VNI (200), so the fragment isn't told of "
          "its VLAN" },
        { "one/a",
          "waiting: 02:00:00:00:00:01 in VLAN 11 is not looked for by the agent: VNI 100 is also "
          "that of one_x, and only the fragment that took it last is told of its VLAN" },
        { "one/x_in", "waiting: the entry one_x_in-from-Et6-to-any is that of one_x/in" },
        { "one_x/in", "programmed" },
        { "web/b", "programmed, but the hardware has not answered for web-arp" },
        { "web/back",
          "programmed, but web_back-from-any-to-Et1 keeps the tag, and VLAN 31 is native on Et1 by "
          "now" },
        { "web/mid", "waiting: the hardware has not answered for web_mid-from-Et7-to-any" } } );
   expectAnswers(
      { R"({"pinflow/pfHwStatusDir/dyninputstatus/qor":{"flowStats":{"web-arp":{"status":5},
               "web_mid-from-Et8-to-any":{"status":5}}},
            "qor/version1/policy":{"policy":{"policyFragment":{"web":{"serviceIntfSet":{
               "mid":{"intf":{"Ethernet1":true}}}}}}}})" },
      { { "web/b",
          "programmed, but the hardware does not take web-arp: rejected (5: no room in the flow "
          "table)" },
        { "web/mid",
          "rejected: the hardware does not take web_mid-from-Et8-to-any: rejected (5: no room in "
          "the flow table)" } } );
   expectAnswers(
      { R"({"pinflow/pfHwStatusDir/dyninputstatus/qor":{"flowStats":
                     {"web_mid-from-Et7-to-any":{"status":0}}}})" },
      { { "web/mid",
          "waiting: the hardware is not done with web_mid-from-Et7-to-any: pending" } } );
   expectAnswers(
      { R"({"pinflow/pfHwStatusDir/dyninputstatus/qor":{"flowStats":{"web-arp":{"status":1}}},
            "qor/version1/policy":{"policy":{"policyFragment":{"web":{"serviceVni":302}}}}})" },
      { { "web/b",
          "programmed, but web-arp is for VLAN 31, which is not that of the service VNI "
          "(302)" } } );
   expectAnswers(
      { R"({"qor/version1/policy":{"policy":{"policyFragment":{"web":{
               "serviceIntfSet":{"mid":{"intf":{"Ethernet1":null}}},"flow":{
                  "c":{"match":{"srcMac":"02:00:00:00:00:0a","vni":300},"action":{"vni":301}}}}}}}})",
        R"({"bridging/status":{"fdbStatus":{"30|02:00:00:00:00:0a":
            {"intf":"Ethernet2","moveCount":1}}}})" },
      { { "web/b",
          "programmed, but 02:00:00:00:00:0a is the host of web/c too, and only the flow that was "
          "read last follows it" } } );
   expectAnswers(
      { R"({"mlag/status":{"mlagState":4},"qorclient/mlagpluginstatus":
            {"warmHost":{"02:00:00:00:00:0a|30":"Ethernet9"}}})" },
      { { "web/c",
          "waiting: 02:00:00:00:00:0a in VLAN 30 is on Et9, an interface without switchport "
          "configuration: not caught there" } } );
}

TEST_F( WhyTest, ARoutedFlowNamesTheFirstThingThatItLacks ) {
   expectSteps(
      "red/f",
      { { R"({"mgmt/controller/status":{"enabled":true,
               "leaderServiceStatusDir":{"service":{"QorL3":{"enabled":true}}}},
            "interface/status/eth/vxlan":{"vtiStatus":{"Vxlan1":{}}},
            "qorl3/version1/global/fragmentConfig":{"red":{"flowGroup":{"1|0":{"flow":{
               "f":{"matchFieldSet":5,"match":{"srcGroup":"web","vni":100},
                  "actionFieldSet":2,"action":{"nexthop":"10.9.0.1"}},
               "idle":{"enabled":true}}}}}}})",
          "waiting: the platform does not report that it supports static flows" },
        { R"({"pinflow/pfHwStatusDir/dyninputstatus/qor":{"supported":true}})",
          "waiting: the controller has the flow disabled" },
        { R"({"qorl3/version1/global/fragmentConfig":{"red":{"flowGroup":{"1|0":{"flow":{
            "f":{"enabled":true}}}}}}})",
          "waiting: VNI 100 has no VLAN: Vx1 does not have it" },
        { R"({"interface/status/eth/vxlan":{"vtiStatus":{"Vxlan1":{"vlanToVniMap":
            {"10":{"vni":100}}}}}})",
          "waiting: group web is not configured" },
        { R"({"qorl3/version1/global/groupTypeConfig":{"config":{"group":
            {"web":{"bytes":[1,0,0]}}}}})",
          "waiting: group web has no member in VRF red" },
        { R"({"qorl3/version1/global/groupSetConfig":{"red":{"group":{"web":{"memberSet":{
            "200":{}}}}}}})",
          "waiting: group web has no member in VRF red" },
        { R"({"qorl3/version1/global/groupSetConfig":{"red":{"group":{"web":{"memberSet":{
            "200":{"member":{"0|10.1.0.1|02:00:00:00:00:01":{}}}}}}}}})",
          "waiting: the hardware has not answered for group web" },
        { R"({"pinflow/pfHwStatusDir/dyninputstatus/qorl3":{
            "trafficGroupStatus":{"web":{"status":1}},"flowStats":{"f":{"status":8}}}})",
          "rejected: the hardware does not take f: rejected (8: refused by the platform)" },
        { R"({"pinflow/pfHwStatusDir/dyninputstatus/qorl3":{
            "trafficGroupStatus":{"web":{"status":0}}}})",
          "rejected: the hardware does not take f: rejected (8: refused by the platform)" },
        { R"({"pinflow/pfHwStatusDir/dyninputstatus/qorl3":{"flowStats":{"f":{"status":1}}}})",
          "programmed, but group web, VNI 200 has no VLAN: Vx1 does not have it" },
        { R"({"interface/status/eth/vxlan":{"vtiStatus":{"Vxlan1":{"vlanToVniMap":
            {"20":{"vni":200}}}}}})",
          "programmed, but group web, VNI 200 in VLAN 20: 0 of 1 active, not 10.1.0.1" },
        { R"({"pinflow/pfHwStatusDir/dyninputstatus/qorl3":{"trafficEndPointStatus":
            {"red|10.1.0.1|20|02:00:00:00:00:01":{"groupName":"web","status":0}}}})",
          "programmed" } } );
   EXPECT_EQ( summary( "red/idle" ), "rejected: the flow has no action" );
}

TEST_F( WhyTest, RoutedFlowsOfOneNameShareAnEntry ) {
   expectAnswers(
      { R"({"mgmt/controller/status":{"enabled":true,
               "leaderServiceStatusDir":{"service":{"QorL3":{"enabled":true}}}},
            "pinflow/pfHwStatusDir/dyninputstatus/qor":{"supported":true},
            "interface/status/eth/vxlan":{"vtiStatus":{"Vxlan1":{"vlanToVniMap":
               {"10":{"vni":100},"20":{"vni":200}}}}},
            "qorl3/version1/global/fragmentConfig":{"red":{"flowGroup":{"1|0":{"flow":{
               "f":{"enabled":true,"matchFieldSet":4,"match":{"vni":100},"actionFieldSet":8},
               "g":{"enabled":true,"matchFieldSet":4,"match":{"vni":100},"actionFieldSet":8},
               "named":{"enabled":true,"match":{"vni":200},"actionFieldSet":8}}}}}}})",
        R"({"qorl3/version1/global/fragmentConfig":{"blue":{"flowGroup":{"1|0":{"flow":{
               "f":{"enabled":true,"priority":7,"actionFieldSet":8}}}}}},
            "pinflow/pfHwStatusDir/dyninputstatus/qorl3":{"flowStats":{"f":{"status":1}}}})" },
      { { "blue/f",
          "programmed, but VRF red has a flow of this name (preference 1, priority 0), and the "
          "flow table one entry for both" },
        { "red/f",
          "waiting: VRF blue has a flow of this name (preference 1, priority 0), and the flow "
          "table one entry for both" } } );
   expectAnswers(
      { R"({"interface/status/eth/vxlan":{"vtiStatus":{"Vxlan1":{"vlanToVniMap":
               {"30":{"vni":100},"20":null}}}}})" },
      { { "red/g",
          "waiting: VNI 100 has no VLAN: Vx1 has it in VLAN 10, which the agent has not taken "
          "up" },
        { "red/named",
          "waiting: VNI 200, which the flow names and does not match, has lost its VLAN: the entry "
          "went with it" } } );
}

}  // namespace
