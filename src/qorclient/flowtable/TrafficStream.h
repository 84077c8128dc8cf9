#pragma once

#include <cstdint>
#include <string>

#include "platform/kel/ValueTraits.h"
#include "platform/wirekit/EthAddr.h"
#include "platform/wirekit/IpGenAddr.h"
#include "records/bridging/VlanId.h"
#include "records/l3/VrfName.h"

namespace OpenFlowTable {

enum class TrafficStreamGroupType : std::uint32_t { normal = 0 };

/** A host of routed traffic. */
struct TrafficStreamEndPointId {
   L3::VrfName vrf;
   Wirekit::IpGenAddr ip;
   Bridging::VlanIdOrNone vlan;
   Wirekit::EthAddr mac;

   KEL_KEY_RECORD( TrafficStreamEndPointId, vrf, ip, vlan, mac )
   friend auto operator<=>( TrafficStreamEndPointId const &,
                            TrafficStreamEndPointId const & ) = default;
   std::size_t hash( std::uint32_t seed ) const { return Kel::combineHash( seed, hash() ); }
   std::string stringValue() const { return Kel::textOf( *this ); }
};

}  // namespace OpenFlowTable
