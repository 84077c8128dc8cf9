#pragma once

#include "qorclient/agent/QorClientLocalTypes.h"
#include "qorclient/l3/MemberSetConfigVniSm.h"

namespace QorClientL3::V1 {

/**
 * The hosts of one group in one VRF, by VNI: a MemberSetConfigVniSm for each VNI that has a VLAN.
 * A VNI that changes its VLAN gets a new one, after the end points of the old VLAN have gone.
 */
class GroupMemberConfigSm : public Kel::StateMachine {
   KEL_STATE_MACHINE( QorClientL3::V1::GroupMemberConfigSm )

   // Inputs.
   KEL_GIVEN( Kel::String, groupName )
   KEL_REACTOR( KelGroupMemberConfig, QorL3::V1::GroupMemberConfig const, groupMemberConfig,
                KEL_ON( memberSet, handleMemberSet ) )
   KEL_GIVEN( L3::VrfName, vrf )
   KEL_GIVEN( Kel::Ptr< OpenFlowTable::PinFlowHwConfig >, pfHwConfig )
   KEL_REACTOR( KelVtepInfo, QorClient::VtepInfo const, vtepInfo,
                KEL_ON( vniToVlanMap, handleVlanToVniMap ) )

   // Children and own state.
   KEL_CHILDREN_BY_KEY( Vxlan::VniExt, MemberSetConfigVniSm, memberSetConfigVniSm )
   KEL_OWN( bool, initialized )

   static Kel::String keyOf( Kel::String const & groupName, auto const &... ) { return groupName; }

   void handleInitialized() override;
   void cleanup();

   // Handlers.
   void handleMemberSet( Vxlan::VniOrNone vni );
   void handleMemberSet();
   void handleVlanToVniMap( Vxlan::VniExt vni );

 protected:
   void handleEnd() override { cleanup(); }

 private:
   void memberSetInVlan( Vxlan::VniExt vni,
                         Kel::Ptr< QorL3::V1::MemberSetConfig const > const & set,
                         Bridging::VlanIdOrNone vlan );
   /** Removes the end points of a VNI, if there are any. */
   void deleteMemberSet( Vxlan::VniExt vni );
};
KEL_FACTORY( groupMemberConfigSmFactory, GroupMemberConfigSm )

}  // namespace QorClientL3::V1
