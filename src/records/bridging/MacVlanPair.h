#pragma once

#include "platform/kel/ValueTraits.h"
#include "platform/wirekit/EthAddr.h"
#include "records/bridging/VlanId.h"

namespace Bridging {

/** A host: its address and the VLAN that it is in. */
struct MacVlanPair {
   Wirekit::EthAddr mac;
   VlanId vlanId;

   KEL_KEY_RECORD( MacVlanPair, mac, vlanId )
   friend auto operator<=>( MacVlanPair const &, MacVlanPair const & ) = default;
};

}  // namespace Bridging
