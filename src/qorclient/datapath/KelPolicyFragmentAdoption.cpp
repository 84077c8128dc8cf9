// Adoption: which flows stay as they stand, also over a restart, and which are read anew.

#include "platform/flashlog/DualLog.h"
#include "qorclient/datapath/KelPolicyFragment.h"
#include "qorclient/datapath/PolicyFragmentSm.h"

KEL_TRACE_UNIT( "QorClientDatapathV1", "QorClient" )

namespace QorClient::DatapathV1 {

void KelPolicyFragment::handleFlow() {
   KEL_TRACE_SCOPE( " fragment: ", fragmentName() );
   if ( !initialized() ) {
      KEL_TRACE_INFO( "Not initialized" );
      return;
   }
   for ( Kel::String const & flowName : fragInfo()->flowInfoKeys() ) {
      if ( !policyFragment()->flowHas( flowName ) ) {
         handleFlow( flowName );
      }
   }
   for ( Kel::String const & flowName : fragmentStatus()->flowStatusKeys() ) {
      if ( !policyFragment()->flowHas( flowName ) ) {
         fragmentStatus()->flowStatusDel( flowName );
      }
   }
   for ( Kel::String const & flowName : policyFragment()->flowKeys() ) {
      handleFlow( flowName );
   }
}

void KelPolicyFragment::handleFlow( Kel::String const & flowName ) {
   KEL_TRACE_SCOPE( " flow: ", flowName );
   if ( !initialized() ) {
      KEL_TRACE_INFO( "Not initialized" );
      return;
   }
   FlowHandle flow = flowHandle( flowName );
   Qor::V1::PolicyFlowInfo const config = configOf( flow );
   bool const present = policyFragment()->flowHas( flowName );
   // A service flow whose set has gone counts as changed.
   bool const unchanged = flow.info && flow.info->flowConfig() == config &&
                          ( config.serviceIntfKey.empty() ||
                            policyFragment()->serviceIntfSetHas( config.serviceIntfKey ) );
   if ( unchanged ) {
      KEL_TRACE_INFO( "fragment: ", fragmentName(), " flow:", flowName, " unchanged flow" );
      if ( present && isHostInterceptFlow( *flow.info ) && isMatchVniBound( flow ) ) {
         populateTransientStates( flow );
      }
      return;
   }
   if ( flow.info ) {
      doFlowCleanup( flow );
   }
   if ( !policyFragment()->flowHas( flowName ) ) {
      KEL_TRACE_INFO( "FlowId ", flowName, " removed" );
      fragmentStatus()->flowStatusDel( flowName );
   } else {
      readFlow( flowName, config );
   }
}

void KelPolicyFragment::populateTransientStates( FlowHandle & flow ) {
   // The rules that were published before a restart stay; only these two maps were lost with it.
   KEL_TRACE_INFO( "Populating transient states" );
   Bridging::MacVlanPair const host{ configOf( flow ).match.srcMac,
                                     agentStatus()->vlanForVni( matchVni( flow ) ) };
   parent()->policyFragmentForHostIs( host, fragmentName() );
   flowForHostIs( host, flow.name );
   lookAgain( flow );
   if ( !flow.info->boundHostHas( host ) ) {
      // Its VLAN has changed while nobody heard of it.
      flowWithUnboundHostIs( flow.name );
   }
}

}  // namespace QorClient::DatapathV1
