#include "records/catalog/Meaning.h"
#include "records/qorl3/FlowConfig.h"
#include "records/qorl3/FragmentConfig.h"
#include "records/qorl3/FragmentStatus.h"
#include "records/qorl3/GroupSetConfig.h"
#include "records/qorl3/GroupSetStatus.h"
#include "records/qorl3/GroupType.h"

namespace Catalog {

namespace {

bool const known = meaningsAre( [] {
   return Meanings{
      meaningOf< QorL3::V1::GroupTypeConfig >( "The groups that exist",
                                               { { "group", "the kind of each" } } ),
      meaningOf< QorL3::V1::GroupType >( "The kind of a group; all zero stands for an absent one",
                                         { { "bytes", "the platform's number of it" } } ),
      meaningOf< QorL3::V1::GroupTypeStatus >( "What became of the groups",
                                               { { "group", "a row a group" } } ),
      meaningOf< QorL3::V1::GroupInstanceStatus >(
         "What became of a group",
         { { "name", "its key" },
           { "state", "the state" },
           { "detail", "the state in words, where there is more to say" } } ),
      meaningOf< QorL3::V1::GroupSetConfig >( "The groups of a VRF, whose name is the entity's",
                                              { { "group", "the groups" } } ),
      meaningOf< QorL3::V1::GroupMemberConfig >( "The hosts of a group",
                                                 { { "memberSet", "by VNI" } } ),
      meaningOf< QorL3::V1::MemberSetConfig >( "The hosts of a group in one VNI",
                                               { { "member", "the hosts" } } ),
      meaningOf< QorL3::V1::MemberKey >( "A host among those of a group and a VNI",
                                         { { "vlanId", "0 in all keys that the agent makes" },
                                           { "ip", "its IP address" },
                                           { "mac", "its MAC address" } } ),
      meaningOf< QorL3::V1::Member >( "A configured host",
                                      { { "vlanId", "not acted on" },
                                        { "ip", "its IP address" },
                                        { "mac", "its MAC address" },
                                        { "flag", "copied into its status" } } ),
      meaningOf< QorL3::V1::GroupSetStatus >( "The state of a VRF's groups",
                                              { { "group", "the groups" } } ),
      meaningOf< QorL3::V1::GroupMemberStatus >( "The state of a group's hosts",
                                                 { { "memberSet", "by VNI" } } ),
      meaningOf< QorL3::V1::MemberSetStatus >( "The state of a group's hosts in one VNI",
                                               { { "status", "a row a host" } } ),
      meaningOf< QorL3::V1::MemberStatus >(
         "What became of a host", { { "key", "the host" },
                                    { "state", "the state" },
                                    { "detail", "the state in words, where there is more to say" },
                                    { "flag", "that of the configured host" } } ),
      meaningOf< QorL3::V1::FragmentConfig >(
         "The flows of a VRF, whose name is the entity's",
         { { "flowGroup", "groups of flows, in their order" } } ),
      meaningOf< QorL3::V1::FlowGroupOrder >(
         "The place of a group of flows: ascending by preference, then priority",
         { { "preference", "counts first" },
           { "priority", "counts where preferences are equal" } } ),
      meaningOf< QorL3::V1::FlowGroupConfig >( "A group of flows", { { "flow", "the flows" } } ),
      meaningOf< QorL3::V1::FlowConfig >(
         "A flow of routed traffic",
         { { "name", "its key, and the name of its rule" },
           { "priority", "that of the flow table, in which it must fit" },
           { "matchFieldSet", "which fields of the match count", "QorL3::V1::MatchField" },
           { "match", "what it matches" },
           { "actionFieldSet", "which fields of the action count", "QorL3::V1::ActionField" },
           { "action", "what is done" },
           { "enabled", "the flow is to be installed" },
           { "flag", "not acted on" },
           { "firstLabel", "the controller's own, copied into the status" },
           { "secondLabel", "the controller's own, copied into the status" } } ),
      bitsOf(
         "QorL3::V1::MatchField", "The fields of a match that count",
         { { QorL3::V1::MatchField::srcGroup, "srcGroup", "the group of the sender" },
           { QorL3::V1::MatchField::dstGroup, "dstGroup", "the group of the receiver" },
           { QorL3::V1::MatchField::vni, "vni", "the VNI" },
           { QorL3::V1::MatchField::ethSrc, "ethSrc", "the sender's MAC address, under its mask" },
           { QorL3::V1::MatchField::ethDst, "ethDst",
             "the receiver's MAC address, under its mask" },
           { QorL3::V1::MatchField::ip4Src, "ip4Src", "ipSrc, of IPv4" },
           { QorL3::V1::MatchField::ip4Dst, "ip4Dst", "ipDst, of IPv4" },
           { QorL3::V1::MatchField::ip6Src, "ip6Src", "ipSrc, of IPv6" },
           { QorL3::V1::MatchField::ip6Dst, "ip6Dst", "ipDst, of IPv6" },
           { QorL3::V1::MatchField::ipProtocol, "ipProtocol", "the IP protocol" },
           { QorL3::V1::MatchField::l4SrcPort, "l4SrcPort", "the sender's port" },
           { QorL3::V1::MatchField::l4DstPort, "l4DstPort", "the receiver's port" },
           { QorL3::V1::MatchField::inIntf, "inIntf", "the interface of arrival" },
           { QorL3::V1::MatchField::ethType, "ethType", "the Ethernet type" } } ),
      bitsOf( "QorL3::V1::ActionField", "The fields of an action that count",
              { { QorL3::V1::ActionField::leadingFlag, "leadingFlag", "the leading flag" },
                { QorL3::V1::ActionField::nexthop, "nexthop", "the next hop" },
                { QorL3::V1::ActionField::outputIntf, "outputIntf", "the interface to leave by" },
                { QorL3::V1::ActionField::trailingFlag, "trailingFlag", "the trailing flag" } } ),
      meaningOf< QorL3::V1::Match >(
         "What a flow matches; the flow's field set tells what counts",
         { { "srcGroup", "the group of the sender" },
           { "dstGroup", "the group of the receiver" },
           { "vni", "the VNI" },
           { "ethSrc", "the sender's MAC address" },
           { "ethSrcMask", "the bits of it that count" },
           { "ethDst", "the receiver's MAC address" },
           { "ethDstMask", "the bits of it that count" },
           { "ipSrc", "the sender's IP addresses, of the family that the field set names" },
           { "ipDst", "the receiver's IP addresses, of the family that the field set names" },
           { "ipProtocol", "the IP protocol" },
           { "l4SrcPort", "the sender's port" },
           { "l4DstPort", "the receiver's port" },
           { "inIntf", "the name of the interface of arrival" },
           { "ethType", "the Ethernet type" } } ),
      meaningOf< QorL3::V1::Action >(
         "What a flow does; the flow's field set tells what counts",
         { { "leadingFlag", "counts by its bit in the field set" },
           { "nexthop", "the next hop" },
           { "outputIntf", "the name of the interface to leave by" },
           { "trailingFlag", "counts by its bit in the field set" } } ),
      meaningOf< QorL3::V1::FragmentStatus >(
         "The state of a VRF's flows", { { "flowGroup", "groups of flows, in their order" } } ),
      meaningOf< QorL3::V1::FlowGroupStatus >( "The state of a group of flows",
                                               { { "flow", "a row a flow" } } ),
      meaningOf< QorL3::V1::FlowStatus >(
         "What became of a flow", { { "name", "its key" },
                                    { "enabled", "that of the configured flow" },
                                    { "state", "the state" },
                                    { "detail", "the state in words, where there is more to say" },
                                    { "firstLabel", "that of the configured flow" },
                                    { "secondLabel", "that of the configured flow" } } ),
      numbersOf< QorL3::V1::State >(
         "What became of a group, a host or a flow",
         { number( QorL3::V1::State::pending, "pending", "the hardware hasn't answered yet" ),
           number( QorL3::V1::State::active, "active", "the hardware has it" ),
           number( QorL3::V1::State::error, "error", "the hardware refused it" ) } ),
   };
} );

}  // namespace

}  // namespace Catalog
