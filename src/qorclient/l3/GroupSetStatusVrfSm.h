#pragma once

#include "qorclient/l3/GroupMemberStatusSm.h"

namespace QorClientL3::V1 {

/** The state of one VRF's groups: a GroupMemberStatusSm for each configured group. */
class GroupSetStatusVrfSm : public Kel::StateMachine {
   KEL_STATE_MACHINE( QorClientL3::V1::GroupSetStatusVrfSm )

   // Inputs.
   KEL_GIVEN( L3::VrfName, vrf )
   KEL_GIVEN( Kel::Ptr< QorL3::V1::GroupSetStatus >, groupSetStatus )
   KEL_REACTOR( KelGroupSetConfig, QorL3::V1::GroupSetConfig const, groupSetConfig,
                KEL_ON( group, handleGroupMemberConfig ) )
   KEL_GIVEN( Kel::Ptr< OpenFlowTable::HwStatus const >, pfHwStatus )

   // Children and own state.
   KEL_CHILDREN_BY_KEY( Kel::String, GroupMemberStatusSm, groupMemberStatusSm )
   KEL_OWN( bool, initialized )

   static L3::VrfName keyOf( L3::VrfName vrf, auto const &... ) { return vrf; }

   void handleInitialized() override;
   void cleanup();

   // Handlers.
   void handleGroupMemberConfig( Kel::String const & groupName );
   void handleGroupMemberConfig();

 protected:
   void handleEnd() override { cleanup(); }
};
KEL_FACTORY( groupSetStatusVrfSmFactory, GroupSetStatusVrfSm )

}  // namespace QorClientL3::V1
