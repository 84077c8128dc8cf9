#pragma once

#include <cstdint>
#include <ostream>

#include "platform/kel/EnumText.h"
#include "platform/kel/String.h"
#include "platform/kel/ValueTraits.h"
#include "platform/wirekit/EthAddr.h"
#include "platform/wirekit/IpGenAddr.h"
#include "records/vxlan/Vni.h"

namespace Qor::V1 {

/** Where the traffic of a flow is caught. */
enum class InterceptPoint : std::uint32_t { interceptIngress = 0, interceptEgress = 1 };

inline std::ostream & operator<<( std::ostream & out, InterceptPoint point ) {
   using enum InterceptPoint;
   return Kel::printEnum(
      out, point,
      { { interceptIngress, "interceptIngress" }, { interceptEgress, "interceptEgress" } } );
}

/** What a flow matches. Only the MAC addresses and the VNI are acted on; the rest is compared. */
struct MatchFields {
   /** Zero for any; the host of a flow that intercepts one. */
   Wirekit::EthAddr srcMac;
   /** Zero for any. */
   Wirekit::EthAddr dstMac;
   Wirekit::IpGenPrefix srcIp;
   Wirekit::IpGenPrefix dstIp;
   std::uint8_t ipProtocol = 0;
   std::uint16_t l4SrcPort = 0;
   std::uint16_t l4DstPort = 0;
   Vxlan::VniOrNone vni;
   Kel::String text;

   KEL_RECORD( MatchFields, srcMac, dstMac, srcIp, dstIp, ipProtocol, l4SrcPort, l4DstPort, vni,
               text )
};

/** What a flow does. Only the VNI is acted on; the rest is compared. */
struct ActionFields {
   std::uint8_t type = 0;
   Kel::String text;
   /** The traffic is rewritten to the VLAN of this VNI. */
   Vxlan::VniOrNone vni;
   Wirekit::IpGenAddr ip;

   KEL_RECORD( ActionFields, type, text, vni, ip )
};

/** A flow of a policy. */
struct PolicyFlowInfo {
   using ActionFields = V1::ActionFields;

   Kel::String flowName;
   MatchFields match;
   ActionFields action;
   InterceptPoint interceptPoint{};
   /** The set of service interfaces that the flow goes through; empty for none. */
   Kel::String serviceIntfKey;

   KEL_RECORD( PolicyFlowInfo, flowName, match, action, interceptPoint, serviceIntfKey )
};

}  // namespace Qor::V1
