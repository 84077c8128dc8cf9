#include "qorclient/l3/GroupSetStatusVrfSm.h"

#include "platform/flashlog/DualLog.h"

KEL_TRACE_UNIT( "QorClientL3GroupSm", "QorClientL3GroupSm" )

KEL_MACHINE_TYPE( QorClientL3::V1::GroupSetStatusVrfSm )

namespace QorClientL3::V1 {

void GroupSetStatusVrfSm::handleInitialized() {
   KEL_TRACE_SCOPE( "VRF: ", vrf() );
   initializedIs( true );
   handleGroupMemberConfig();
}

void GroupSetStatusVrfSm::handleGroupMemberConfig( Kel::String const & groupName ) {
   if ( !initialized() ) {
      KEL_TRACE_INFO( "Not initialized" );
      return;
   }
   KEL_TRACE_SCOPE( "VRF: ", vrf(), " groupName: ", groupName );
   Kel::Ptr< QorL3::V1::GroupMemberConfig const > const config =
      groupSetConfig()->group( groupName );
   if ( config ) {
      auto const status = groupSetStatus()->groupIs( groupName );
      groupMemberStatusSmIs( groupName, status, config, vrf(), pfHwStatus() );
   } else {
      KEL_TRACE_INFO( "Group ", groupName, " removed" );
      groupSetStatus()->groupDel( groupName );
      groupMemberStatusSmDel( groupName );
   }
}

void GroupSetStatusVrfSm::handleGroupMemberConfig() {
   KEL_TRACE_SCOPE( "VRF: ", vrf() );
   if ( !initialized() ) {
      KEL_TRACE_INFO( "Not initialized" );
      return;
   }
   for ( Kel::String const & groupName : groupSetStatus()->groupKeys() ) {
      if ( !groupSetConfig()->groupHas( groupName ) ) {
         KEL_TRACE_INFO( "Removing GroupSetStatus for group ", groupName );
         groupSetStatus()->groupDel( groupName );
      }
   }
   for ( Kel::String const & groupName : groupSetConfig()->groupKeys() ) {
      handleGroupMemberConfig( groupName );
   }
}

void GroupSetStatusVrfSm::cleanup() {
   KEL_TRACE_SCOPE( "VRF: ", vrf() );
   groupSetStatus()->groupDelAll();
   groupMemberStatusSmDelAll();
}

}  // namespace QorClientL3::V1
