#pragma once

#include <cstdint>
#include <limits>

#include "platform/kel/Value.h"
#include "platform/orb/TaskScheduler.h"
#include "records/bridging/VlanId.h"

namespace Scenarios::Simulated {

/** What the simulated agents of a switch have to give, and how fast they are. */
struct Settings {
   /** VLANs for the VNIs that are asked for, both ends included; none when the last is below the
    *  first. */
   std::uint16_t firstVlan = 1;
   std::uint16_t lastVlan = 0;
   /** How many flow entries each of the two tables takes. */
   std::uint64_t flowCapacity = std::numeric_limits< std::uint64_t >::max();
   /** The time from a new entry to its answer. */
   Orb::Seconds answerAfter = 0;

   friend bool operator==( Settings const &, Settings const & ) = default;
   bool inPool( Bridging::VlanId vlan ) const {
      return vlan.value() >= firstVlan && vlan.value() <= lastVlan;
   }
};

/** Reads `{ "vlanPool": "1000-1999", "flowCapacity": 4096, "answerAfter": 0.5 }`, of which each
 *  member may be left out. Throws Kel::ValueError. */
Settings readSettings( Kel::Value const & value );

}  // namespace Scenarios::Simulated
