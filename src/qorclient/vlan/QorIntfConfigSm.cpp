#include "qorclient/vlan/QorIntfConfigSm.h"

#include "platform/flashlog/DualLog.h"
#include "qorclient/datapath/PolicyFragmentSm.h"

KEL_TRACE_UNIT( "QorIntfConfigSm", "QorClient" )

KEL_MACHINE_TYPE( QorClient::QorIntfConfigSm )

namespace QorClient {

void QorIntfConfigSm::handleInitialized() {
   KEL_TRACE_SCOPE( " intfId: ", intfId() );
   initializedIs( true );
   currentNativeVlanIs( switchIntfConfig()->trunkNativeVlan() );
}

void QorIntfConfigSm::handleTrunkNativeVlan() {
   KEL_TRACE_SCOPE( " intfId: ", intfId() );
   if ( !initialized() ) {
      KEL_TRACE_INFO( "Not initialized" );
      return;
   }
   Bridging::VlanId const newVlan = switchIntfConfig()->trunkNativeVlan();
   for ( auto const & [fragmentName, member] : parent()->policyFragment() ) {
      if ( !member->initialized() ) {
         KEL_TRACE_INFO( "Nested KelPolicyFragment SM not initialized." );
         continue;
      }
      auto const record = polFragConfig()->policyFragment( fragmentName );
      auto const fragInfo = agentStatus()->policyFragmentInfo( fragmentName );
      if ( !record || !fragInfo ) {
         continue;
      }
      // The VNI as it stands: none is then a number that no VLAN is mapped to.
      Vxlan::VniExtOrNone const vni( record->originalVni().value() );
      if ( !agentStatus()->vlanForVniHas( vni ) ) {
         KEL_TRACE_INFO( "Vlan not found for Vni: ", vni );
         continue;
      }
      Bridging::VlanId const vlan = agentStatus()->vlanForVni( vni );
      if ( vlan == currentNativeVlan() || vlan == newVlan ) {
         reinstallFlows( intfId(), fragInfo, member );
      }
   }
   currentNativeVlanIs( newVlan );
}

void reinstallFlows( Wirekit::IntfId intfId, Kel::Ptr< PolicyFragmentInfo const > const & fragInfo,
                     Kel::Ptr< DatapathV1::KelPolicyFragment > const & policyFragment ) {
   KEL_TRACE_SCOPE( " intfId: ", intfId );
   for ( auto const & [flowName, flowInfo] : fragInfo->flowInfo() ) {
      for ( auto const & [host, hostIntf] : flowInfo->boundHost() ) {
         if ( policyFragment->isHostInterceptFlow( flowName ) && hostIntf == intfId ) {
            policyFragment->removeFlowWithItsDependents( flowName );
            policyFragment->installHostInterceptFlow( flowName );
         }
      }
   }
}

}  // namespace QorClient
