#include "qorclient/vlan/VlanHelperSm.h"

#include "platform/flashlog/DualLog.h"
#include "records/vxlan/VniSource.h"

KEL_TRACE_UNIT( "VlanHelperSm", "QorClientVlanHelper" )

KEL_MACHINE_TYPE( QorClient::VlanHelperSm )

namespace QorClient {

void VlanHelperSm::handleInitialized() {
   KEL_TRACE_SCOPE_ENDING( " return " );
   initializedIs( true );
   handleBoundVni();
   handleVlanToVniMap();
   handleVtepAddr();
}

void VlanHelperSm::handleVtepAddr() {
   KEL_TRACE_SCOPE_ENDING( " return " );
   agentStatus()->myVtepAddrIs( vtepInfo()->address() );
}

// --- Bindings ---

void VlanHelperSm::handleBoundVni( VniAndIntfForPolicyFragment const & vniAndIntf ) {
   KEL_TRACE_SCOPE_ENDING( " return ", " VNI: ", vniAndIntf.vni, " intfId: ", vniAndIntf.intfId );
   if ( !isBoundVni( vniAndIntf.vni ) ) {
      KEL_TRACE_INFO( " VNI del ", vniAndIntf.vni );
      vniSviConfig()->vniSviInfoDel( vniAndIntf.vni );
      agentStatus()->vlanForVniDel( vniAndIntf.vni );
   } else if ( !agentStatus()->vlanForVniHas( vniAndIntf.vni ) ) {
      requestVni( vniAndIntf.vni );
      handleVlanToVniMap( Vxlan::VniExt( vniAndIntf.vni ) );
   }
   doUpdateDynAllowedVlans( vniAndIntf.intfId );
}

void VlanHelperSm::handleBoundVni() {
   KEL_TRACE_SCOPE_ENDING( " return " );
   // What an earlier run has left and nobody binds any more goes first.
   for ( Vxlan::VniExtOrNone vni : agentStatus()->vlanForVniKeys() ) {
      if ( isBoundVni( vni ) ) {
         KEL_TRACE_INFO( " VNI Bound ", vni );
      } else {
         KEL_TRACE_INFO( " VNI del ", vni );
         agentStatus()->vlanForVniDel( vni );
      }
   }
   for ( VniAndIntfForPolicyFragment const & key : agentStatus()->boundVniKeys() ) {
      handleBoundVni( key );
   }
   for ( Vxlan::VniExtOrNone vni : vniSviConfig()->vniSviInfoKeys() ) {
      if ( !isBoundVni( vni ) ) {
         KEL_TRACE_INFO( " VNI del ", vni );
         vniSviConfig()->vniSviInfoDel( vni );
      }
   }
   // A closed gate takes the requests back and leaves the VLANs, so that no binding asks anew.
   for ( VniAndIntfForPolicyFragment const & key : agentStatus()->boundVniKeys() ) {
      if ( !vniSviConfig()->vniSviInfoHas( key.vni ) ) {
         requestVni( key.vni );
      }
   }
}

void VlanHelperSm::requestVni( Vxlan::VniExtOrNone vni ) {
   KEL_TRACE_INFO( " VNI add ", vni );
   vniSviConfig()->vniSviInfoIs( Vxlan::VniSviInfo{ Vxlan::stringValue( Vxlan::VniSource::qor ),
                                                    Vxlan::VniSviInfo::VniPriority::policy, vni } );
}

bool VlanHelperSm::isBoundVni( Vxlan::VniExtOrNone vni ) const {
   return agentStatus()->boundVniCount< BindingVni >( vni ) != 0;
}

Wirekit::IntfId VlanHelperSm::boundVniIntfId( Vxlan::VniExtOrNone vni ) const {
   for ( VniAndIntfForPolicyFragment const & key :
         agentStatus()->boundVniKeys< BindingVni >( vni ) ) {
      return key.intfId;
   }
   return {};
}

// --- Mappings ---

void VlanHelperSm::handleVlanToVniMap( Vxlan::VniExt const & vni ) {
   KEL_TRACE_SCOPE_ENDING( " return ", " VNI: ", vni );
   if ( vtepInfo()->vniToVlanMapHas( vni ) ) {
      if ( !isBoundVni( vni ) ) {
         return;
      }
      Bridging::VlanId const vlan = vtepInfo()->vniToVlanMap( vni );
      KEL_TRACE_INFO( " VNI add ", vni, " VLAN ", vlan );
      agentStatus()->vlanForVniIs( vni, vlan );
      for ( VniAndIntfForPolicyFragment const & key :
            agentStatus()->boundVniKeys< BindingVni >( Vxlan::VniExtOrNone( vni ) ) ) {
         doUpdateDynAllowedVlans( key.intfId );
      }
   } else if ( agentStatus()->vlanForVniHas( vni ) ) {
      KEL_TRACE_INFO( " VNI del ", vni );
      agentStatus()->vlanForVniDel( vni );
   }
}

void VlanHelperSm::handleVlanToVniMap() {
   KEL_TRACE_SCOPE_ENDING( " return " );
   for ( Vxlan::VniExt vni : vtepInfo()->vniToVlanMapKeys() ) {
      handleVlanToVniMap( vni );
   }
   for ( Vxlan::VniExtOrNone vni : agentStatus()->vlanForVniKeys() ) {
      if ( !vni || !vtepInfo()->vniToVlanMapHas( Vxlan::VniExt( vni ) ) ) {
         KEL_TRACE_INFO( " VNI is not present in the vtepInfo ", vni );
         agentStatus()->vlanForVniDel( vni );
      }
   }
}

void VlanHelperSm::doCleanup() {
   KEL_TRACE_SCOPE_ENDING( " return " );
   for ( Vxlan::VniExtOrNone vni : vniSviConfig()->vniSviInfoKeys() ) {
      KEL_TRACE_INFO( " VNI del ", vni );
      vniSviConfig()->vniSviInfoDel( vni );
   }
   agentStatus()->vlanForVniDelAll();
}

}  // namespace QorClient
