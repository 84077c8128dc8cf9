#include "qorclient/vlan/VlanToVniSm.h"

#include "platform/flashlog/DualLog.h"
#include "platform/kel/Assert.h"

KEL_TRACE_UNIT( "VlanToVniSm", "QorClientVniToVlanSm" )

KEL_MACHINE_TYPE( QorClient::VtiStatusSm )
KEL_MACHINE_TYPE( QorClient::VlanToVniSm )

namespace QorClient {

// --- VtiStatusSm ---

void VtiStatusSm::handleInitialized() {
   KEL_TRACE_SCOPE_ENDING( " return " );
   initializedIs( true );
   handleAddr();
   handleVniToVlanMapRev();
}

void VtiStatusSm::handleAddr() {
   KEL_TRACE_SCOPE_ENDING( " return " );
   if ( !initialized() ) {
      KEL_TRACE_ALERT( "!Initalized. Exit. " );
      return;
   }
   vtepInfo()->addressIs( vtiStatus()->addr() );
}

void VtiStatusSm::handleVniToVlanMapRevCleanup() {
   KEL_TRACE_SCOPE_ENDING( " return " );
   if ( !initialized() ) {
      KEL_TRACE_ALERT( "!Initalized. Exit. " );
      return;
   }
   vtepInfo()->vniToVlanMapDelAll();
}

void VtiStatusSm::handleVniToVlanMapRev() {
   KEL_TRACE_SCOPE_ENDING( " return " );
   if ( !initialized() ) {
      KEL_TRACE_INFO( "!Initalized. Exit. " );
      return;
   }
   handleVniToVlanMapRevCleanup();
   for ( auto const & [vlanId, pair] : vtiStatus()->vlanToVniMap() ) {
      Vxlan::VniExt const vni( pair.vni );
      if ( vtepInfo()->vniToVlanMapHas( vni ) && vtepInfo()->vniToVlanMap( vni ) != vlanId ) {
         KEL_TRACE_ALERT( "Duplicate found in Forward Map: vlanId: ", vlanId, " VNI: ", vni,
                          " vs found in Forward Map: vlanId: ", vtepInfo()->vniToVlanMap( vni ) );
         continue;
      }
      KEL_TRACE_INFO( "Insert in Reverse Map: vlanId: ", vlanId, " VNI: ", vni );
      vtepInfo()->vniToVlanMapIs( vni, vlanId );
   }
}

void VtiStatusSm::handleVniToVlanMapRev( Bridging::VlanId const & vlanId ) {
   KEL_TRACE_SCOPE_ENDING( " return ", " vlanId: ", vlanId );
   if ( !initialized() ) {
      KEL_TRACE_ALERT( "!Initalized. Exit. " );
      return;
   }
   // A VLAN has at most one VNI.
   for ( auto const & [vni, vlan] : vtepInfo()->vniToVlanMap() ) {
      if ( vlan == vlanId ) {
         KEL_TRACE_INFO( "Delete in Reverse Map by Value: vlanId: ", vlanId );
         vtepInfo()->vniToVlanMapDel( vni );
         break;
      }
   }
   if ( !vtiStatus()->vlanToVniMapHas( vlanId ) ) {
      return;
   }
   Vxlan::VniExt const vni( vtiStatus()->vlanToVniMap( vlanId ).vni );
   Bridging::VlanId const found = vtepInfo()->vniToVlanMap( vni );
   if ( !vtepInfo()->vniToVlanMapHas( vni ) || found == vlanId ) {
      KEL_TRACE_INFO( "Insert in Reverse Map: vlanId: ", vlanId, " VNI: ", vni );
      vtepInfo()->vniToVlanMapIs( vni, vlanId );
   } else {
      // Which of the two is meant cannot be told, so that neither is used.
      KEL_TRACE_INFO( "Delete in Reverse Map by Key: VNI: ", vni );
      vtepInfo()->vniToVlanMapDel( vni );
      KEL_TRACE_ALERT( "Duplicate found in Forward Map: vlanId: ", vlanId, " VNI: ", vni,
                       " vs found in Forward Map: vlanId: ", found );
   }
}

void VtiStatusSm::doCleanup() {
   KEL_TRACE_SCOPE_ENDING( " return " );
   handleVniToVlanMapRevCleanup();
   vtepInfo()->addressIs( Wirekit::IpAddr() );
   initializedIs( false );
}

// --- VlanToVniSm ---

void VlanToVniSm::handleInitialized() {
   KEL_TRACE_SCOPE_ENDING( " return " );
   initializedIs( true );
   handleVtiChanged();
}

void VlanToVniSm::handleVtiChanged() {
   KEL_TRACE_SCOPE_ENDING( " return " );
   if ( !initialized() ) {
      KEL_TRACE_INFO( "!Initalized. Exit. " );
      return;
   }
   for ( Wirekit::IntfId intfId : vtiStatusDir()->vtiStatusKeys() ) {
      handleVtiChanged( intfId );
   }
}

void VlanToVniSm::handleVtiChanged( Wirekit::IntfId const & intfId ) {
   KEL_TRACE_SCOPE_ENDING( " return ", " intfId: ", intfId );
   if ( !initialized() ) {
      KEL_TRACE_ALERT( "!Initalized. Exit. " );
      return;
   }
   if ( vtiStatusDir()->vtiStatusCount() > 1 ) {
      KEL_TRACE_ALERT( "QORClient will not support two Interfaces. " );
      KEL_ASSERT_AT( false, "0 && \"QORClient will not support two Interfaces. \"", "VlanToVniSm",
                     72 );
   }
   // The old map is gone before the new one comes, so that two interfaces' entries never mingle.
   if ( Kel::Ptr< VtiStatusSm > old = vtiStatusSmDel() ) {
      old->doCleanup();
   }
   if ( Kel::Ptr< Vxlan::VtiStatus const > status = vtiStatusDir()->vtiStatus( intfId ) ) {
      vtiStatusSmIs( status );
   }
}

void VlanToVniSm::doCleanup() {
   KEL_TRACE_SCOPE_ENDING( " return " );
   if ( Kel::Ptr< VtiStatusSm > old = vtiStatusSmDel() ) {
      old->doCleanup();
   }
   initializedIs( false );
}

}  // namespace QorClient
