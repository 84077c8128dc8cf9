#pragma once

#include <cstdint>

#include "platform/kel/String.h"
#include "platform/kel/ValueTraits.h"
#include "platform/wirekit/EthAddr.h"
#include "platform/wirekit/IpGenAddr.h"
#include "records/vxlan/Vni.h"

namespace QorL3::V1 {

/** A set of the bits below. */
using MatchFieldSet = std::uint32_t;
using ActionFieldSet = std::uint32_t;

namespace MatchField {
inline constexpr MatchFieldSet srcGroup = 0x1;
inline constexpr MatchFieldSet dstGroup = 0x2;
inline constexpr MatchFieldSet vni = 0x4;
inline constexpr MatchFieldSet ethSrc = 0x8;
inline constexpr MatchFieldSet ethDst = 0x10;
inline constexpr MatchFieldSet ip4Src = 0x20;
inline constexpr MatchFieldSet ip4Dst = 0x40;
inline constexpr MatchFieldSet ip6Src = 0x80;
inline constexpr MatchFieldSet ip6Dst = 0x100;
inline constexpr MatchFieldSet ipProtocol = 0x200;
inline constexpr MatchFieldSet l4SrcPort = 0x400;
inline constexpr MatchFieldSet l4DstPort = 0x800;
inline constexpr MatchFieldSet inIntf = 0x1000;
inline constexpr MatchFieldSet ethType = 0x2000;
}  // namespace MatchField

namespace ActionField {
inline constexpr ActionFieldSet leadingFlag = 0x1;
inline constexpr ActionFieldSet nexthop = 0x2;
inline constexpr ActionFieldSet outputIntf = 0x4;
inline constexpr ActionFieldSet trailingFlag = 0x8;
}  // namespace ActionField

/** What a flow matches. The flow's field set tells which fields count. */
struct Match {
   Kel::String srcGroup;
   Kel::String dstGroup;
   Vxlan::VniExt vni;
   Wirekit::EthAddr ethSrc;
   Wirekit::EthAddr ethSrcMask = Wirekit::EthAddr::allOnes();
   Wirekit::EthAddr ethDst;
   Wirekit::EthAddr ethDstMask = Wirekit::EthAddr::allOnes();
   /** Of the family that the field set names, and so `ipDst`. */
   Wirekit::IpGenPrefix ipSrc;
   Wirekit::IpGenPrefix ipDst;
   std::uint8_t ipProtocol = 0;
   std::uint16_t l4SrcPort = 0;
   std::uint16_t l4DstPort = 0;
   /** The name of an interface. */
   Kel::String inIntf;
   std::uint16_t ethType = 0;

   KEL_RECORD( Match, srcGroup, dstGroup, vni, ethSrc, ethSrcMask, ethDst, ethDstMask, ipSrc, ipDst,
               ipProtocol, l4SrcPort, l4DstPort, inIntf, ethType )
};

/** What a flow does. The flow's field set tells which fields count. */
struct Action {
   bool leadingFlag = false;
   Wirekit::IpGenAddr nexthop;
   /** The name of an interface. */
   Kel::String outputIntf;
   bool trailingFlag = false;

   KEL_RECORD( Action, leadingFlag, nexthop, outputIntf, trailingFlag )
};

/** A flow of routed traffic. */
struct FlowConfig {
   Kel::String name;
   /** That of the flow table; it must fit there. */
   std::uint32_t priority = 0;
   MatchFieldSet matchFieldSet = 0;
   Match match;
   ActionFieldSet actionFieldSet = 0;
   Action action;
   bool enabled = false;
   /** Not read by the agent. */
   bool flag = false;
   /** The controller's own. */
   Kel::String firstLabel;
   Kel::String secondLabel;

   KEL_RECORD( FlowConfig, name, priority, matchFieldSet, match, actionFieldSet, action, enabled,
               flag, firstLabel, secondLabel )
   /** True for the default, which stands for an absent flow. */
   bool operator!() const { return *this == FlowConfig{}; }
};

}  // namespace QorL3::V1
