#include "qorclient/l3/GroupMemberConfigSm.h"

#include "platform/flashlog/DualLog.h"

KEL_TRACE_UNIT( "QorClientL3GroupSm", "QorClientL3GroupSm" )

KEL_MACHINE_TYPE( QorClientL3::V1::GroupMemberConfigSm )

namespace QorClientL3::V1 {

void GroupMemberConfigSm::handleInitialized() {
   KEL_TRACE_SCOPE( "VRF: ", vrf(), " Group: ", groupName() );
   initializedIs( true );
   handleMemberSet();
}

void GroupMemberConfigSm::handleMemberSet( Vxlan::VniOrNone vni ) {
   if ( !initialized() ) {
      KEL_TRACE_INFO( "Not initialized" );
      return;
   }
   KEL_TRACE_SCOPE( "VRF: ", vrf(), " Group: ", groupName(), " VNI: ", vni );
   Vxlan::VniExt const vniExt = Vxlan::Vni( vni );
   Kel::Ptr< QorL3::V1::MemberSetConfig const > const set = groupMemberConfig()->memberSet( vni );
   if ( !set ) {
      KEL_TRACE_INFO( "MemberSet is removed" );
      deleteMemberSet( vniExt );
   } else {
      KEL_TRACE_INFO( "MemberSet added" );
      if ( vtepInfo()->vniToVlanMapHas( vniExt ) ) {
         memberSetInVlan( vniExt, set, vtepInfo()->vniToVlanMap( vniExt ) );
      } else {
         KEL_TRACE_INFO( "No vlan can be found for vni: ", vni );
         deleteMemberSet( vniExt );
      }
   }
}

void GroupMemberConfigSm::memberSetInVlan( Vxlan::VniExt vni,
                                           Kel::Ptr< QorL3::V1::MemberSetConfig const > const & set,
                                           Bridging::VlanIdOrNone vlan ) {
   if ( auto const old = memberSetConfigVniSm( vni ); old && old->vlan() != vlan ) {
      KEL_TRACE_INFO( "Vlan to VNI mapping has changed. Old VLAN:", old->vlan(),
                      " New VLAN: ", vlan );
      deleteMemberSet( vni );
   }
   memberSetConfigVniSmIs( groupName(), vni, vlan, set, vrf(), pfHwConfig() );
}

void GroupMemberConfigSm::deleteMemberSet( Vxlan::VniExt vni ) {
   if ( auto const memberSetSm = memberSetConfigVniSm( vni ) ) {
      memberSetSm->cleanup();
      memberSetConfigVniSmDel( vni );
   }
}

void GroupMemberConfigSm::handleMemberSet() {
   KEL_TRACE_SCOPE( "VRF: ", vrf(), " Group: ", groupName() );
   for ( Vxlan::VniOrNone vni : groupMemberConfig()->memberSetKeys() ) {
      handleMemberSet( vni );
   }
}

void GroupMemberConfigSm::handleVlanToVniMap( Vxlan::VniExt vni ) {
   if ( !initialized() ) {
      KEL_TRACE_INFO( "Not initialized" );
      return;
   }
   KEL_TRACE_SCOPE( "Vni: ", vni );
   handleMemberSet( Vxlan::VniOrNone( vni ) );
}

void GroupMemberConfigSm::cleanup() {
   KEL_TRACE_SCOPE( "VRF: ", vrf(), " Group: ", groupName() );
   for ( auto const & [vni, memberSetSm] : memberSetConfigVniSm() ) {
      memberSetSm->cleanup();
   }
   memberSetConfigVniSmDelAll();
   initializedIs( false );
}

}  // namespace QorClientL3::V1
