#pragma once

#include <string>
#include <vector>

#include "platform/kel/String.h"
#include "platform/records/qorl3/FlowGroupOrder.h"
#include "runner/Switch.h"
#include "runner/why/Chain.h"

namespace Runner {

/** A flow that is configured or reported, or of which the agent has kept something. */
struct FlowPlace {
   enum class Kind { policy, routed };
   Kind kind;
   /** A fragment, or the VRF of a routed flow. */
   Kel::String place;
   Kel::String flow;
   /** A routed flow's group. */
   QorL3::V1::FlowGroupOrder order;

   friend auto operator<=>( FlowPlace const &, FlowPlace const & ) = default;
};

/** All flows, in order. */
std::vector< FlowPlace > flowsOf( Switch const & device );

/** The chain of such a flow. */
Chain chainOf( Switch const & device, FlowPlace const & flow );

/** The two kinds of chains. */
Chain policyChain( Switch const & device, FlowPlace const & flow );
Chain routedChain( Switch const & device, FlowPlace const & flow );

}  // namespace Runner
