#pragma once

#include "qorclient/l3/FlowGroupStatusSm.h"

namespace QorClientL3::V1 {

/** The state of one VRF's flow groups: a FlowGroupStatusSm for each that is configured. */
class FragmentStatusVrfSm : public Kel::StateMachine {
   KEL_STATE_MACHINE( QorClientL3::V1::FragmentStatusVrfSm )

   // Inputs.
   KEL_GIVEN( L3::VrfName, vrf )
   KEL_GIVEN( Kel::Ptr< QorL3::V1::FragmentStatus >, fragmentStatus )
   KEL_REACTOR( KelFragmentConfig, QorL3::V1::FragmentConfig const, fragmentConfig,
                KEL_ON( flowGroup, handleFlowGroupConfig ) )
   KEL_GIVEN( Kel::Ptr< OpenFlowTable::HwStatus const >, pfHwStatus )
   KEL_GIVEN( Kel::Ptr< OpenFlowTable::PinFlowHwConfig const >, pfHwConfig )

   // Children and own state.
   KEL_CHILDREN_IN_ORDER( QorL3::V1::FlowGroupOrder, FlowGroupStatusSm, flowGroupStatusSm )
   KEL_OWN( bool, initialized )

   static L3::VrfName keyOf( L3::VrfName vrf, auto const &... ) { return vrf; }

   void handleInitialized() override;
   void cleanup();

   // Handlers.
   void handleFlowGroupConfig( QorL3::V1::FlowGroupOrder const & order );
   void handleFlowGroupConfig();

 protected:
   void handleEnd() override { cleanup(); }
};
KEL_FACTORY( fragmentStatusVrfSmFactory, FragmentStatusVrfSm )

}  // namespace QorClientL3::V1
