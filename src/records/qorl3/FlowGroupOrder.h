#pragma once

#include <cstdint>
#include <string>

#include "platform/kel/ValueTraits.h"

namespace QorL3::V1 {

/** The place of a group of flows among those of its VRF: ascending by preference, then priority. */
struct FlowGroupOrder {
   std::uint32_t preference = 0;
   std::uint32_t priority = 0;

   KEL_KEY_RECORD( FlowGroupOrder, preference, priority )
   friend auto operator<=>( FlowGroupOrder const &, FlowGroupOrder const & ) = default;
   std::string stringValue() const {
      return "Preference: " + std::to_string( preference ) +
             " Priority: " + std::to_string( priority );
   }
};

}  // namespace QorL3::V1
