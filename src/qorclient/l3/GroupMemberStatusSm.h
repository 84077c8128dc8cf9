#pragma once

#include "qorclient/l3/MemberSetStatusVniSm.h"

namespace QorClientL3::V1 {

/** The state of one group's hosts in one VRF: a MemberSetStatusVniSm for each configured VNI. */
class GroupMemberStatusSm : public Kel::StateMachine {
   KEL_STATE_MACHINE( QorClientL3::V1::GroupMemberStatusSm )

   // Inputs.
   KEL_GIVEN( Kel::String, groupName )
   KEL_GIVEN( Kel::Ptr< QorL3::V1::GroupMemberStatus >, groupMemberStatus )
   KEL_REACTOR( KelGroupMemberConfig, QorL3::V1::GroupMemberConfig const, groupMemberConfig,
                KEL_ON( memberSet, handleMemberSet ) )
   KEL_GIVEN( L3::VrfName, vrf )
   KEL_GIVEN( Kel::Ptr< OpenFlowTable::HwStatus const >, pfHwStatus )

   // Children and own state.
   KEL_CHILDREN_BY_KEY( Vxlan::Vni, MemberSetStatusVniSm, memberSetStatusVniSm )
   KEL_OWN( bool, initialized )

   static Kel::String keyOf( Kel::String const & groupName, auto const &... ) { return groupName; }

   void handleInitialized() override;
   void cleanup();

   // Handlers.
   void handleMemberSet( Vxlan::VniOrNone vni );
   void handleMemberSet();

 protected:
   void handleEnd() override { cleanup(); }
};
KEL_FACTORY( groupMemberStatusSmFactory, GroupMemberStatusSm )

}  // namespace QorClientL3::V1
