#pragma once

#include <cstdint>

#include "platform/wirekit/RangedNumber.h"

namespace Bridging {

struct VlanIdRange {
   using Family = VlanIdRange;
   using Number = std::uint16_t;
   static constexpr Number min = 1, max = 4094, initial = 1;
   static constexpr char text[] = "VlanId::value < 1 or > 4094 not allowed";
};

struct VlanIdOrNoneRange {
   using Family = VlanIdRange;
   using Plain = VlanIdRange;
   using Number = std::uint16_t;
   static constexpr Number min = 0, max = 4094, initial = 0, none = 0;
   static constexpr char text[] = "VlanIdOrNone::value > 4094 not allowed";
};

/** An 802.1Q VLAN, 1 by default. */
using VlanId = Wirekit::RangedNumber< VlanIdRange >;

/** A VLAN or none (0, the default). */
using VlanIdOrNone = Wirekit::RangedNumber< VlanIdOrNoneRange >;

}  // namespace Bridging
