#pragma once

#include "platform/corestore/EntityManager.h"
#include "scenario/simulated/FlowTableSm.h"
#include "switch/vxlanagent/VlanGiverSm.h"

namespace Scenarios::Simulated {

/** The other agents of a switch, as far as the policy agent waits for them. They go on from the
 *  state that they find, and leave it as it stands when they go. */
class SwitchAgents {
 public:
   /** The entities of the mount plan stand. */
   SwitchAgents( Corestore::EntityManager & em, Settings const & settings );

   /** Whether a row of the state (Corestore::Row) is written by these agents. */
   static bool owns( std::string_view rowPath );

 private:
   Kel::Ptr< Orb::DelayedWork > answers_;
   Kel::Ptr< VxlanAgent::VlanGiverSm > vlanGiver_;
   Kel::Ptr< FlowTableSm > flowTable_;
   Kel::Ptr< FlowTableSm > routedFlowTable_;
};

}  // namespace Scenarios::Simulated
