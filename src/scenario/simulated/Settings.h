#pragma once

#include <cstdint>
#include <limits>

#include "platform/kel/Value.h"
#include "platform/orb/TaskScheduler.h"
#include "switch/vxlanagent/VlanPool.h"

namespace Scenarios::Simulated {

/** What the simulated agents of a switch have to give, and how fast they are. */
struct Settings {
   /** For the VNIs that are asked for. */
   VxlanAgent::VlanPool vlanPool;
   /** How many flow entries each of the two tables takes. */
   std::uint64_t flowCapacity = std::numeric_limits< std::uint64_t >::max();
   /** The time from a new entry to its answer. */
   Orb::Seconds answerAfter = 0;

   friend bool operator==( Settings const &, Settings const & ) = default;
};

/** Reads `{ "vlanPool": "1000-1999", "flowCapacity": 4096, "answerAfter": 0.5 }`, of which each
 *  member may be left out. Throws Kel::ValueError. */
Settings readSettings( Kel::Value const & value );

}  // namespace Scenarios::Simulated
