#pragma once

#include <cstdint>
#include <ostream>

#include "platform/kel/EnumText.h"

namespace QorL3::V1 {

/** What became of a group, a member or a flow. */
enum class State : std::uint32_t { pending = 0, active = 1, error = 2 };

inline std::ostream & operator<<( std::ostream & out, State state ) {
   using enum State;
   return Kel::printEnum( out, state,
                          { { pending, "pending" }, { active, "active" }, { error, "error" } } );
}

}  // namespace QorL3::V1
