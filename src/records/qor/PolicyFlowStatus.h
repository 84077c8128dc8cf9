#pragma once

#include <cstdint>

#include "platform/kel/String.h"
#include "platform/kel/ValueTraits.h"
#include "platform/wirekit/EthAddr.h"
#include "records/qor/FlowState.h"

namespace Qor::V1 {

/** What became of a flow, for operators. */
struct PolicyFlowStatus {
   Kel::String flowName;
   FlowState flowState{};
   /** The state in words. */
   Kel::String flowStateDetails;
   /** The host of a programmed flow that intercepts one; else zero. */
   Wirekit::EthAddr hostMac;
   /** The host's move count at that moment. */
   std::uint32_t hostMoveCount = 0;

   KEL_RECORD( PolicyFlowStatus, flowName, flowState, flowStateDetails, hostMac, hostMoveCount )
   /** True for the default, which stands for an absent row. */
   bool operator!() const { return *this == PolicyFlowStatus{}; }
};

}  // namespace Qor::V1
