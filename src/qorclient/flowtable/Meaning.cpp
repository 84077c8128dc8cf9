#include "records/catalog/Meaning.h"
#include "qorclient/flowtable/HwStatus.h"
#include "qorclient/flowtable/PinFlowHwConfig.h"
#include "qorclient/flowtable/PlatformConfig.h"

namespace Catalog {

namespace {

bool const known = meaningsAre( [] {
   return Meanings{
      meaningOf< OpenFlowTable::PinFlowHwConfig >(
         "The static flow table", { { "flowEntry", "the rules" },
                                    { "trafficGroup", "the groups of hosts that rules may name" },
                                    { "trafficEndPoint", "the group of each host" } } ),
      meaningOf< OpenFlowTable::FlowEntry >(
         "A row of the flow table",
         { { "match", "what it matches" },
           { "actions", "what is done" },
           { "priority", "which of several matching rows counts: the highest" },
           { "priorityGroupType", "the kind of the priority" },
           { "tableType", "the place in the pipeline" },
           { "cookie", "the writer's own" },
           { "idleTimeout", "seconds without traffic until it goes; 0 for never" },
           { "hardTimeout", "seconds until it goes; 0 for never" },
           { "flag", "not set by the agent" } } ),
      numbersOf< OpenFlowTable::PriorityGroupType >(
         "The kind of a priority", { number( OpenFlowTable::PriorityGroupType::normal, "normal",
                                             "the only one that the agent writes" ) } ),
      numbersOf< OpenFlowTable::TableType >(
         "The place in the pipeline",
         { number( OpenFlowTable::TableType::none, "none", "none" ),
           number( OpenFlowTable::TableType::lookup, "lookup", "the look-up itself" ),
           number( OpenFlowTable::TableType::preLookup, "preLookup",
                   "before the look-up: traffic as it enters" ),
           number( OpenFlowTable::TableType::preTransmit, "preTransmit",
                   "before the transmission: traffic as it leaves" ) } ),
      numbersOf< OpenFlowTable::TrafficStreamGroupType >(
         "The kind of a group of hosts",
         { number( OpenFlowTable::TrafficStreamGroupType::normal, "normal",
                   "the only one that the agent writes" ) } ),
      meaningOf< OpenFlowTable::TrafficStreamEndPointId >( "A host of routed traffic",
                                                           { { "vrf", "its VRF" },
                                                             { "ip", "its IP address" },
                                                             { "vlan", "the VLAN that it is in" },
                                                             { "mac", "its MAC address" } } ),
      meaningOf< OpenFlowTable::Match >(
         "What a row matches; a field counts, and is shown, only if its bit is set",
         { { "matchFieldSet", "which fields count", "OpenFlowTable::MatchField" },
           { "inIntf", "the interfaces of arrival" },
           { "ethSrc", "the sender's MAC address" },
           { "ethSrcMask", "the bits of it that count" },
           { "ethDst", "the receiver's MAC address" },
           { "ethDstMask", "the bits of it that count" },
           { "ethType", "the Ethernet type" },
           { "vlanId", "the VLAN" },
           { "vlanIdMask", "the bits of it that count" },
           { "ipSrc", "the sender's IPv4 address" },
           { "ipSrcMask", "the bits of it that count" },
           { "ipDst", "the receiver's IPv4 address" },
           { "ipDstMask", "the bits of it that count" },
           { "ipProtocol", "the IP protocol" },
           { "ip6Src", "the sender's IPv6 address" },
           { "ip6SrcMask", "the bits of it that count" },
           { "ip6Dst", "the receiver's IPv6 address" },
           { "ip6DstMask", "the bits of it that count" },
           { "l4SrcPort", "the sender's port" },
           { "l4DstPort", "the receiver's port" },
           { "srcGroup", "the group of the sender" },
           { "dstGroup", "the group of the receiver" } } ),
      bitsOf( "OpenFlowTable::MatchField", "The fields of a match that count",
              { { OpenFlowTable::MatchField::inIntf, "inIntf", "the interfaces of arrival" },
                { OpenFlowTable::MatchField::ethSrc, "ethSrc", "the sender's MAC address" },
                { OpenFlowTable::MatchField::ethDst, "ethDst", "the receiver's MAC address" },
                { OpenFlowTable::MatchField::ethType, "ethType", "the Ethernet type" },
                { OpenFlowTable::MatchField::vlanId, "vlanId", "the VLAN" },
                { OpenFlowTable::MatchField::ipSrc, "ipSrc", "the sender's IPv4 address" },
                { OpenFlowTable::MatchField::ipDst, "ipDst", "the receiver's IPv4 address" },
                { OpenFlowTable::MatchField::ip6Src, "ip6Src", "the sender's IPv6 address" },
                { OpenFlowTable::MatchField::ip6Dst, "ip6Dst", "the receiver's IPv6 address" },
                { OpenFlowTable::MatchField::ipProtocol, "ipProtocol", "the IP protocol" },
                { OpenFlowTable::MatchField::l4SrcPort, "l4SrcPort", "the sender's port" },
                { OpenFlowTable::MatchField::l4DstPort, "l4DstPort", "the receiver's port" },
                { OpenFlowTable::MatchField::arp, "arp", "ARP frames; has no field" },
                { OpenFlowTable::MatchField::srcGroup, "srcGroup", "the group of the sender" },
                { OpenFlowTable::MatchField::dstGroup, "dstGroup", "the group of the receiver" },
                { OpenFlowTable::MatchField::routed, "routed", "routed traffic; has no field" } } ),
      meaningOf< OpenFlowTable::Actions >(
         "What a row does; a field counts, and is shown, only if its bit is set",
         { { "actionFieldSet", "which fields count", "OpenFlowTable::ActionField" },
           { "outputIntf", "the interfaces to leave by" },
           { "outputNexthop", "the next hops" },
           { "vlanId", "the new VLAN" },
           { "ingrMirrorIntf", "interfaces that get a copy on arrival; without a bit" },
           { "egrMirrorIntf", "interfaces that get a copy on leaving; without a bit" },
           { "actionMpls", "MPLS labels; without a bit" } } ),
      meaningOf< OpenFlowTable::ActionMpls >( "An MPLS action", { { "label", "the label" } } ),
      bitsOf(
         "OpenFlowTable::ActionField", "The fields of the actions that count",
         { { OpenFlowTable::ActionField::vlanId, "vlanId", "rewrite of the VLAN" },
           { OpenFlowTable::ActionField::outputIntf, "outputIntf", "the interfaces to leave by" },
           { OpenFlowTable::ActionField::outputNormal, "outputNormal",
             "the normal pipeline goes on; has no field" },
           { OpenFlowTable::ActionField::outputNexthop, "outputNexthop", "the next hops" },
           { OpenFlowTable::ActionField::routedFlag, "routedFlag",
             "the leading flag of a routed flow's action; has no field" },
           { OpenFlowTable::ActionField::dropTag, "dropTag",
             "the frame leaves untagged; has no field" } } ),
      meaningOf< OpenFlowTable::HwStatus >(
         "What the hardware made of a flow table",
         { { "supported", "the platform has such a table" },
           { "arpRuleRequired", "ARP needs a rule of its own" },
           { "flowStats", "the answer to each rule" },
           { "trafficGroupStatus", "the answer to each group" },
           { "trafficEndPointStatus", "the answer to each host" } } ),
      meaningOf< OpenFlowTable::FlowStats >( "The hardware's answer to a rule",
                                             { { "status", "the answer" } } ),
      numbersOf< OpenFlowTable::FlowStatus >(
         "The hardware's answer to a rule; the L2 policy takes any other number as in progress, "
         "routed policy as an error",
         { number( OpenFlowTable::FlowStatus::pending, "pending", "not yet in the hardware" ),
           number( OpenFlowTable::FlowStatus::active, "active", "in the hardware" ),
           number( OpenFlowTable::FlowStatus::tableFull, "tableFull",
                   "refused: no room in the flow table" ),
           number( OpenFlowTable::FlowStatus::refused6, "refused6", "refused by the platform" ),
           number( OpenFlowTable::FlowStatus::refused7, "refused7", "refused by the platform" ),
           number( OpenFlowTable::FlowStatus::refused8, "refused8",
                   "refused by the platform; routed policy alone" ),
           number( OpenFlowTable::FlowStatus::refused10, "refused10", "refused by the platform" ),
           number( OpenFlowTable::FlowStatus::refused12, "refused12",
                   "refused by the platform; routed policy alone" ),
           number( OpenFlowTable::FlowStatus::refused13, "refused13",
                   "refused by the platform; routed policy alone" ) } ),
      meaningOf< OpenFlowTable::TrafficStreamGroupHwStatus >( "The hardware's answer to a group",
                                                              { { "status", "the answer" } } ),
      meaningOf< OpenFlowTable::TrafficStreamEndPointStatus >(
         "The hardware's answer to a host",
         { { "groupName", "its group" }, { "status", "the answer" } } ),
      numbersOf< OpenFlowTable::TrafficStreamStatus >(
         "The hardware's answer to a group or a host; any other number is an error",
         { number( OpenFlowTable::TrafficStreamStatus::active, "active", "in the hardware" ),
           number( OpenFlowTable::TrafficStreamStatus::pending, "pending",
                   "not yet in the hardware" ) } ),
      meaningOf< OpenFlowTable::PlatformTableSupport >(
         "What the flow tables of the platform offer",
         { { "groupTable", "the group tables, by number; only the keys count" } } ),
      meaningOf< OpenFlowTable::PlatformInitConfig >(
         "Options that the platform takes at its start",
         { { "perVlanRoutingEnabled", "VLANs are routed one by one" } } ),
   };
} );

}  // namespace

}  // namespace Catalog
