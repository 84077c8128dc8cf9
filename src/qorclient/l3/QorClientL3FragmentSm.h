#pragma once

#include "platform/kel/Dir.h"
#include "qorclient/l3/FragmentConfigVrfSm.h"
#include "qorclient/l3/FragmentStatusVrfSm.h"

namespace QorClientL3::V1 {

/**
 * The flows of routed traffic, per VRF: what is configured goes to the flow table, what the
 * hardware made of it goes back as status.
 *
 * At its start it adopts what an earlier run has left in the flow table: each wanted flow is
 * written in place, and a stale one goes only after all VRFs have been read.
 */
class FragmentSm : public Kel::StateMachine {
   KEL_STATE_MACHINE( QorClientL3::V1::FragmentSm )

   // Inputs.
   KEL_REACTOR( KelFragmentConfigDir, Kel::Dir const, fragmentConfigDir,
                KEL_ON( entity, handleFragmentConfigDir ) )
   KEL_GIVEN( Kel::Ptr< Kel::Dir >, fragmentStatusDir )
   KEL_GIVEN( Kel::Ptr< OpenFlowTable::PinFlowHwConfig >, pfHwConfig )
   KEL_GIVEN( Kel::Ptr< OpenFlowTable::HwStatus const >, pfHwStatus )

   // Children and own state.
   KEL_CHILDREN_BY_KEY( L3::VrfName, FragmentConfigVrfSm, fragmentConfigVrfSm )
   KEL_CHILDREN_BY_KEY( L3::VrfName, FragmentStatusVrfSm, fragmentStatusVrfSm )
   KEL_OWN( Kel::Ptr< CachedFlowConfig >, cachedFlowConfig )
   KEL_OWN( bool, initialized )

   void handleInitialized() override;
   void cleanup();

   // Handlers.
   void handleFragmentConfigDir( Kel::Name const & vrfName );
   void handleFragmentConfigDir();

 protected:
   void handleEnd() override { cleanup(); }

 private:
   void deleteStaleFlows();
};
KEL_FACTORY( fragmentSmFactory, FragmentSm )

}  // namespace QorClientL3::V1
