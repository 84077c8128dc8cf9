#pragma once

#include <cstdint>
#include <ostream>

#include "platform/kel/EnumText.h"

namespace Qor {

/** The state of a flow and of each of its rules. */
enum class FlowState : std::uint32_t {
   flowInitial = 0,     ///< not programmed; the details say what it waits for
   flowWaiting = 1,     ///< published; the hardware hasn't answered yet
   flowProgrammed = 2,  ///< the hardware has the rule
   flowRejected = 3     ///< it can't be programmed
};

inline std::ostream & operator<<( std::ostream & out, FlowState state ) {
   using enum FlowState;
   return Kel::printEnum( out, state,
                          { { flowInitial, "flowInitial" },
                            { flowWaiting, "flowWaiting" },
                            { flowProgrammed, "flowProgrammed" },
                            { flowRejected, "flowRejected" } } );
}

}  // namespace Qor
