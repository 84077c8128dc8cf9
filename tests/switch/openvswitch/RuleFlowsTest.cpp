#include "switch/openvswitch/RuleFlows.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>
#include <set>
#include <string>

#include "switch/openvswitch/Switchports.h"

namespace OpenVSwitch {

namespace {

using OpenFlowTable::TableType;
using testing::ElementsAre, testing::HasSubstr;
namespace ActionField = OpenFlowTable::ActionField;

Topology someTopology() {
   Topology topology;
   topology.ports[Wirekit::IntfId( "Ethernet1" )] = {
      .number = 1, .nativeVlan = 100, .vlans = { 100, 200 } };
   topology.tunnel = Tunnel{ Wirekit::IntfId( "Vxlan1" ), 9 };
   topology.vnis = { { 100, 10100 }, { 200, 10200 } };
   return topology;
}

Ovsdb::BridgePort portOf( std::string const & name, std::string const & mode,
                          std::optional< std::uint16_t > tag,
                          std::set< std::uint16_t > const & trunks ) {
   Ovsdb::BridgePort port;
   port.name = name;
   port.vlanMode = mode;
   port.tag = tag;
   port.trunks = trunks;
   return port;
}

WantedFlows flowsOf( TableType table, std::uint64_t actionFields, std::string const & intf = "" ) {
   OpenFlowTable::FlowEntry entry;
   entry.tableType = table;
   entry.priority = OpenFlowTable::Priority( 10 );
   entry.actions.actionFieldSet = actionFields;
   entry.actions.vlanId = 200;
   if ( !intf.empty() ) {
      entry.actions.outputIntfIs( Wirekit::IntfId( intf ), true );
   }
   Topology const topology = someTopology();
   return ruleFlows( Kel::String( "rule" ), entry, { topology, {}, {} } );
}

TEST( RuleFlowsTest, TheTunnelHasVnisInPlaceOfTags ) {
   auto const leaving = [&]( std::uint64_t fields, std::string const & intf ) {
      auto const wanted = flowsOf( TableType::preTransmit, ActionField::outputIntf | fields, intf );
      return wanted.flows.size() == 1 ? wanted.flows[0].text() : wanted.refused.reason;
   };
   std::uint64_t const rewritten = ActionField::vlanId;
   std::uint64_t const untagged = rewritten | ActionField::dropTag;
   EXPECT_THAT( leaving( rewritten, "Vxlan1" ), HasSubstr( "resubmit(,60)" ) );
   EXPECT_THAT( leaving( untagged, "Vxlan1" ), HasSubstr( "resubmit(,60)" ) );
   EXPECT_THAT( leaving( rewritten, "Ethernet1" ), HasSubstr( "output:1" ) );
   EXPECT_THAT( leaving( untagged, "Ethernet1" ), HasSubstr( "pop_vlan" ) );
   // Without another VLAN nothing changes.
   EXPECT_THAT( leaving( ActionField::dropTag, "Ethernet1" ), HasSubstr( "resubmit(,60)" ) );
}

TEST( RuleFlowsTest, AFrameGoesOnInOneWay ) {
   auto const answer = [&]( TableType table, std::uint64_t fields ) {
      return static_cast< int >( flowsOf( table, fields, "Ethernet1" ).refused.status );
   };
   EXPECT_EQ( answer( TableType::preLookup, ActionField::vlanId ), 7 );
   EXPECT_EQ( answer( TableType::preLookup, ActionField::vlanId | ActionField::outputNormal ), 0 );
   EXPECT_EQ( answer( TableType::lookup, 0 ), 7 );
   EXPECT_EQ( answer( TableType::lookup, ActionField::outputIntf | ActionField::outputNormal ), 7 );
   EXPECT_EQ( answer( TableType::lookup, ActionField::outputIntf ), 0 );
}

TEST( SwitchportsTest, NumbersThatAreNoVlansAreLeftOut ) {
   using Vlans = std::set< std::uint16_t >;
   BridgePorts const ports{ { "p1", portOf( "p1", "trunk", {}, { 0, 100, 4095 } ) },
                            { "p2", portOf( "p2", "", 4095, {} ) },
                            { "p3", portOf( "p3", "trunk", {}, { 0 } ) } };
   EXPECT_EQ( existingVlans( ports ), ( Vlans{ 1, 100 } ) );
   EXPECT_EQ( configuredVlans( ports.at( "p1" ), { 1, 100 } ), ( Vlans{ 100 } ) );
   EXPECT_EQ( configuredVlans( ports.at( "p2" ), { 1, 100 } ), ( Vlans{ 1 } ) );
   EXPECT_EQ( configuredVlans( ports.at( "p3" ), { 1, 100 } ), Vlans{} )
      << "which is not all of them";
}

TEST( TopologyTest, OnlyWhatDiffersIsLookedAt ) {
   Topology const topology = someTopology();
   Topology other = topology;
   EXPECT_TRUE( changedPorts( topology, other ).empty() );
   other.endPoints[200].insert( Wirekit::Ip4Addr( 1 ) );
   EXPECT_TRUE( changedPorts( topology, other ).empty() );
   EXPECT_THAT( changedFloods( topology, other ), ElementsAre( 200 ) );
   other = topology;
   other.ports[Wirekit::IntfId( "Ethernet2" )] = { 2, 1, { 300 } };
   EXPECT_THAT( changedPorts( topology, other ), ElementsAre( Wirekit::IntfId( "Ethernet2" ) ) );
   EXPECT_THAT( changedFloods( topology, other ), ElementsAre( 300 ) );
   EXPECT_THAT( changedFloods( other, topology ), ElementsAre( 300 ) );
}

}  // namespace

}  // namespace OpenVSwitch
