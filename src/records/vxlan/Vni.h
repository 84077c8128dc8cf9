#pragma once

#include <cstdint>

#include "platform/wirekit/RangedNumber.h"

namespace Vxlan {

struct VniRange {
   using Family = VniRange;
   using Number = std::uint32_t;
   static constexpr Number min = 0, max = 0xffffff, initial = 0;
   static constexpr char text[] = "Vni::value < Vni::min or > Vni::max not allowed";
};

struct VniOrNoneRange {
   using Family = VniRange;
   using Plain = VniRange;
   using Number = std::uint32_t;
   static constexpr Number min = 0, max = 0x1000000, initial = 0x1000000, none = 0x1000000;
   static constexpr char text[] = "VniOrNone::value < 0 or > 0x1000000 not allowed";
};

struct VniExtRange {
   using Family = VniRange;
   using Number = std::uint32_t;
   static constexpr Number min = 0, max = 0xfffffffe, initial = 0x1000000;
   static constexpr char text[] = "VniExt::value < VniExt::min or > VniExt::max not allowed";
};

struct VniExtOrNoneRange {
   using Family = VniRange;
   using Plain = VniExtRange;
   using Number = std::uint32_t;
   static constexpr Number min = 0, max = 0xffffffff, initial = 0xffffffff, none = 0xffffffff;
};

/** A VXLAN network identifier of 24 bits, 0 by default. */
using Vni = Wirekit::RangedNumber< VniRange >;

/** A VNI or none (0x1000000, the default). To VniExt it goes by way of Vni, which rejects none. */
using VniOrNone = Wirekit::RangedNumber< VniOrNoneRange >;

/** A VNI of the extended space: any 32 bits but all ones; by default the first above 24 bits. */
using VniExt = Wirekit::RangedNumber< VniExtRange >;

/** An extended VNI or none (all ones, the default). */
using VniExtOrNone = Wirekit::RangedNumber< VniExtOrNoneRange >;

}  // namespace Vxlan
