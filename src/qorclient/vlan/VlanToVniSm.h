#pragma once

#include "platform/kel/StateMachine.h"
#include "platform/wirekit/IntfId.h"
#include "qorclient/agent/QorClientLocalTypes.h"
#include "records/vxlan/VtiStatus.h"

/*
 * The switch's tunnel interface publishes which VNI each VLAN maps to; the agent needs the opposite
 * direction. These machines keep it, and the tunnel's address, in `VtepInfo`. They write nothing
 * else.
 */

namespace QorClient {

/**
 * Keeps the maps for one tunnel interface. The sweep keeps the first of two VLANs on one VNI; a
 * conflict that arises later takes both out until the next sweep.
 */
class VtiStatusSm : public Kel::StateMachine {
   KEL_STATE_MACHINE( QorClient::VtiStatusSm )

   // Inputs.
   KEL_REACTOR( KelVtiStatus, Vxlan::VtiStatus const, vtiStatus,
                KEL_ROWS( KEL_ON( vlanToVniMap, handleVniToVlanMapRev )
                          KEL_ON( addr, handleAddr ) ) )
   KEL_SINGLETON( LocalData, localData )

   // Own state.
   KEL_OWN( bool, initialized )

   // Operations.
   Kel::Ptr< VtepInfo > vtepInfo() const { return localData()->vtepInfo(); }
   /** Takes back what was published; for the owner to call, the destructor does not. */
   void doCleanup();

   // Handlers.
   void handleVniToVlanMapRevCleanup();
   void handleVniToVlanMapRev( Bridging::VlanId const & vlanId );
   void handleVniToVlanMapRev();
   void handleAddr();
   void handleInitialized() override;
};
KEL_FACTORY( vtiStatusSmFactory, VtiStatusSm )

/** Picks the one tunnel interface of the switch; a second one ends the process. */
class VlanToVniSm : public Kel::StateMachine {
   KEL_STATE_MACHINE( QorClient::VlanToVniSm )

   // Inputs.
   KEL_REACTOR( KelVtiStatusDir, Vxlan::VtiStatusDir const, vtiStatusDir,
                KEL_ON( vtiStatus, handleVtiChanged ) )

   // Children: present while there is a tunnel interface.
   KEL_CHILD( VtiStatusSm, vtiStatusSm )

   // Own state.
   KEL_OWN( bool, initialized )

   // Operations.
   /** Takes back what was published; for the owner to call, the destructor does not. */
   void doCleanup();

   // Handlers.
   void handleVtiChanged( Wirekit::IntfId const & intfId );
   void handleVtiChanged();
   void handleInitialized() override;
};
KEL_FACTORY( vlanToVniSmFactory, VlanToVniSm )

}  // namespace QorClient
