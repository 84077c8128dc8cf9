#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "platform/corestore/EntityManager.h"
#include "platform/kel/String.h"
#include "records/qorl3/FlowGroupOrder.h"
#include "views/why/Chain.h"

namespace Views {

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
std::vector< FlowPlace > flowsOf( Corestore::EntityManager const & em );
/** Those of a name or a path. */
std::vector< FlowPlace > flowsNamed( Corestore::EntityManager const & em, std::string_view name );

/** The chain of such a flow. */
Chain chainOf( Corestore::EntityManager const & em, FlowPlace const & flow );

/** The same for programs, with what tells flows apart that a person names alike: names may contain
 *  "/", and a VRF has several groups of flows. */
Kel::Value chainValue( FlowPlace const & flow, Chain const & chain );

/** The two kinds of chains. */
Chain policyChain( Corestore::EntityManager const & em, FlowPlace const & flow );
Chain routedChain( Corestore::EntityManager const & em, FlowPlace const & flow );

}  // namespace Views
