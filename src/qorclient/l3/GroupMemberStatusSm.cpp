#include "qorclient/l3/GroupMemberStatusSm.h"

#include "platform/flashlog/DualLog.h"

KEL_TRACE_UNIT( "QorClientL3GroupSm", "QorClientL3GroupSm" )

KEL_MACHINE_TYPE( QorClientL3::V1::GroupMemberStatusSm )

namespace QorClientL3::V1 {

void GroupMemberStatusSm::handleInitialized() {
   KEL_TRACE_SCOPE( "VRF: ", vrf(), " group: ", groupName() );
   initializedIs( true );
   handleMemberSet();
}

void GroupMemberStatusSm::handleMemberSet( Vxlan::VniOrNone vniOrNone ) {
   if ( !initialized() ) {
      KEL_TRACE_INFO( "Not initialized" );
      return;
   }
   Vxlan::Vni const vni( vniOrNone );
   KEL_TRACE_SCOPE( "VRF: ", vrf(), " group: ", groupName(), vni, " VNI" );
   Kel::Ptr< QorL3::V1::MemberSetConfig const > const set =
      groupMemberConfig()->memberSet( vniOrNone );
   if ( set ) {
      auto const status = groupMemberStatus()->memberSetIs( vniOrNone );
      memberSetStatusVniSmIs( groupName(), vni, vrf(), status, set, pfHwStatus() );
   } else {
      KEL_TRACE_INFO( "MemberSetStatusVni ", vni, " removed" );
      groupMemberStatus()->memberSetDel( vniOrNone );
      memberSetStatusVniSmDel( vni );
   }
}

void GroupMemberStatusSm::handleMemberSet() {
   KEL_TRACE_SCOPE( "VRF: ", vrf(), " group: ", groupName() );
   if ( !initialized() ) {
      KEL_TRACE_INFO( "Not initialized" );
      return;
   }
   for ( Vxlan::VniOrNone vni : groupMemberStatus()->memberSetKeys() ) {
      if ( !groupMemberConfig()->memberSetHas( vni ) ) {
         groupMemberStatus()->memberSetDel( vni );
      }
   }
   for ( Vxlan::VniOrNone vni : groupMemberConfig()->memberSetKeys() ) {
      handleMemberSet( vni );
   }
}

void GroupMemberStatusSm::cleanup() {
   KEL_TRACE_SCOPE( "VRF: ", vrf(), " group: ", groupName() );
   groupMemberStatus()->memberSetDelAll();
   memberSetStatusVniSmDelAll();
}

}  // namespace QorClientL3::V1
