#pragma once

#include "qorclient/l3/FlowGroupConfigSm.h"

namespace QorClientL3::V1 {

/** The flow groups of one VRF, in ascending order: a FlowGroupConfigSm for each. */
class FragmentConfigVrfSm : public Kel::StateMachine {
   KEL_STATE_MACHINE( QorClientL3::V1::FragmentConfigVrfSm )

   // Inputs.
   KEL_GIVEN( L3::VrfName, vrf )
   KEL_REACTOR( KelFragmentConfig, QorL3::V1::FragmentConfig const, fragmentConfig,
                KEL_ON( flowGroup, handleFlowGroupConfig ) )
   KEL_GIVEN( Kel::Ptr< OpenFlowTable::PinFlowHwConfig >, pfHwConfig )
   KEL_GIVEN( Kel::Ptr< CachedFlowConfig >, cachedFlowConfig )
   KEL_SINGLETON( QorClient::LocalData const, localData )
   Kel::Ptr< QorClient::VtepInfo const > vtepInfo() const { return localData()->vtepInfo(); }

   // Children and own state.
   KEL_CHILDREN_IN_ORDER( QorL3::V1::FlowGroupOrder, FlowGroupConfigSm, flowGroupConfigSm )
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
KEL_FACTORY( fragmentConfigVrfSmFactory, FragmentConfigVrfSm )

}  // namespace QorClientL3::V1
