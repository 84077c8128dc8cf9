#pragma once

#include "qorclient/l3/GroupMemberConfigSm.h"

namespace QorClientL3::V1 {

/**
 * The groups of one VRF: one GroupMemberConfigSm for each. While it is under construction it also
 * notes the end points that the configuration wants, for the owner to compare with those that
 * stand in the flow table.
 */
class GroupSetConfigVrfSm : public Kel::StateMachine {
   KEL_STATE_MACHINE( QorClientL3::V1::GroupSetConfigVrfSm )

   // Inputs, and the children among them.
   KEL_GIVEN( L3::VrfName, vrf )
   KEL_REACTOR( KelGroupSetConfig, QorL3::V1::GroupSetConfig const, groupSetConfig,
                KEL_ON( group, handleGroupMemberConfig ) )
   KEL_CHILDREN_BY_KEY( Kel::String, GroupMemberConfigSm, groupMemberConfigSm )
   KEL_GIVEN( Kel::Ptr< OpenFlowTable::PinFlowHwConfig >, pfHwConfig )
   KEL_GIVEN( Kel::Ptr< OpenFlowTable::PinFlowHwConfig >, cachedPfHwConfig )
   KEL_SINGLETON( QorClient::LocalData const, localData )
   Kel::Ptr< QorClient::VtepInfo const > vtepInfo() const { return localData()->vtepInfo(); }

   // Own state.
   /** True until the end of handleInitialized. */
   KEL_OWN( bool, buildCachedEndPoints )
   KEL_OWN( bool, initialized )

   static L3::VrfName keyOf( L3::VrfName vrf, auto const &... ) { return vrf; }

   void handleInitialized() override;
   void cleanup();

   // Handlers.
   void handleGroupMemberConfig( Kel::String const & groupName );
   void handleGroupMemberConfig();

 protected:
   void handleEnd() override { cleanup(); }

 private:
   void writeEndPoints( Kel::String const & groupName,
                        Kel::Ptr< QorL3::V1::MemberSetConfig const > const & memberSet,
                        Bridging::VlanIdOrNone vlan );
};
KEL_FACTORY( groupSetConfigVrfSmFactory, GroupSetConfigVrfSm )

}  // namespace QorClientL3::V1
