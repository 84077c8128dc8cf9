#pragma once

#include <cstdint>

#include "platform/wirekit/RangedNumber.h"

namespace OpenFlowTable {

struct PriorityRange {
   using Family = PriorityRange;
   using Number = std::int32_t;
   static constexpr Number min = -1, max = 65536, initial = 0;
   static constexpr char text[] = "Priority::value < -1 or > Priority::max not allowed";
};

/** The priority of a flow entry, -1 to 65536, 0 by default. */
using Priority = Wirekit::RangedNumber< PriorityRange >;

}  // namespace OpenFlowTable
