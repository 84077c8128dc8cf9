#pragma once

#include <cstdint>
#include <string_view>

#include "records/bridging/VlanId.h"

namespace VxlanAgent {

/** VLANs for the VNIs that are asked for, both ends included; none when the last is below the
 *  first. */
struct VlanPool {
   std::uint16_t first = 1;
   std::uint16_t last = 0;

   bool has( Bridging::VlanId vlan ) const { return vlan.value() >= first && vlan.value() <= last; }
   friend bool operator==( VlanPool const &, VlanPool const & ) = default;
};

/** Reads "1000-1999", or one VLAN alone. Throws Kel::ValueError. */
VlanPool readVlanPool( std::string_view text );

}  // namespace VxlanAgent
