#pragma once

#include "platform/kel/StateMachine.h"
#include "qorclient/agent/QorClientLocalTypes.h"
#include "qorclient/monitor/QorClientCommonCapabilitySm.h"
#include "qorclient/vlan/VlanToVniSm.h"
#include "records/vxlan/VtiStatus.h"

namespace QorClientCommon {

/**
 * Holds what the L2 and the L3 side share, while the gate is open: the record of the tunnel
 * endpoint, the machine that fills it, and the capability. It watches nothing itself.
 */
class RootSm : public Kel::StateMachine {
   KEL_STATE_MACHINE( QorClientCommon::RootSm )

   // Inputs.
   KEL_GIVEN( Kel::Ptr< OpenFlowTable::HwStatus const >, pfHwStatus )
   KEL_GIVEN( Kel::Ptr< OpenFlowTable::PlatformTableSupport const >, platformTableSupport )
   KEL_GIVEN( Kel::Ptr< QorCommon::V1::Capability >, capability )
   KEL_GIVEN( Kel::Ptr< Vxlan::VtiStatusDir const >, vtiStatusDir )
   KEL_SINGLETON( QorClient::LocalData, localData )

   // Children.
   KEL_CHILD( V1::CapabilitySm, capabilitySm )
   KEL_CHILD( QorClient::VlanToVniSm, vlanToVniSm )

   // Own state.
   KEL_OWN( bool, initialized )

   // Operations.
   void cleanup();

   // Handlers.
   void handleInitialized() override;

 protected:
   void handleEnd() override { cleanup(); }
};
KEL_FACTORY( rootSmFactory, RootSm )

}  // namespace QorClientCommon
