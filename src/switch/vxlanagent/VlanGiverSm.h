#pragma once

#include <functional>

#include "platform/kel/StateMachine.h"
#include "platform/orb/DelayedWork.h"
#include "records/vxlan/VniSviConfig.h"
#include "records/vxlan/VtiStatus.h"
#include "switch/vxlanagent/VlanPool.h"

namespace VxlanAgent {

/** Whether a VLAN has another use. */
using IsTaken = std::function< bool( Bridging::VlanId ) >;

/**
 * The VXLAN agent in small: gives each VNI that is asked for a VLAN of the pool in the map of the
 * tunnel interface, and takes it back. A VNI that is mapped already, and VLANs outside the pool,
 * are left alone, and so are those of the pool that the switch uses by configuration. A VNI for
 * which no VLAN is left waits for one that this agent takes back.
 */
class VlanGiverSm : public Kel::StateMachine {
   KEL_STATE_MACHINE( VxlanAgent::VlanGiverSm )

   // Inputs.
   KEL_REACTOR( KelVniSviConfig, Vxlan::VniSviConfig const, vniSviConfig,
                KEL_ON( vniSviInfo, handleVniSviInfo ) )
   KEL_GIVEN( Kel::Ptr< Vxlan::VtiStatusDir >, vtiStatusDir )
   KEL_GIVEN( Kel::Ptr< Orb::DelayedWork >, answers )
   KEL_GIVEN( VlanPool, pool )
   KEL_GIVEN( IsTaken, isTaken )

   // Handlers.
   void handleVniSviInfo( Vxlan::VniExtOrNone const & vni );
   void handleVniSviInfo();
   void handleInitialized() override;

 private:
   /** The tunnel interface; "Vxlan1" is made where there is none. */
   Kel::Ptr< Vxlan::VtiStatus > vti() const;
   void give( Vxlan::VniExtOrNone vni );
   void takeBack();

   Orb::Askers< Vxlan::VniExtOrNone > asking_;
   /** In the order in which the pool was found empty. */
   Kel::HashMap2018< Vxlan::VniExtOrNone, Kel::Nothing > waiting_;
};
KEL_FACTORY( vlanGiverSmFactory, VlanGiverSm )

}  // namespace VxlanAgent
