// Host flows: intercept rules where a host is learnt, egress rules wherever intercepted hosts are.

#include "platform/flashlog/DualLog.h"
#include "qorclient/agent/QorClientUtils.h"
#include "qorclient/datapath/HostFdbStatus.h"
#include "qorclient/datapath/KelPolicyFragment.h"
#include "qorclient/datapath/PolicyFragmentSm.h"

KEL_TRACE_UNIT( "QorClientDatapathV1", "QorClient" )

namespace QorClient::DatapathV1 {

using Bridging::MacVlanPair;
using Wirekit::IntfId;

void KelPolicyFragment::bindHostForHostInterceptFlow( FlowHandle & flow ) {
   KEL_TRACE_SCOPE( " flow: ", flow.name );
   lookAgain( flow );
   auto const info = flow.info;
   if ( !initialized() || !info || flowInCleanupHas( flow.name ) || !isHostInterceptFlow( *info ) ||
        !isMatchVniBound( flow ) ) {
      return;
   }
   Vxlan::VniExtOrNone const vni = matchVni( flow );
   MacVlanPair const host{ configOf( flow ).match.srcMac, agentStatus()->vlanForVni( vni ) };
   for ( MacVlanPair const & bound : info->boundHostKeys() ) {
      if ( bound.mac == host.mac && bound.vlanId != host.vlanId ) {
         KEL_TRACE_INFO( "VniExt ", vni, " is not mapped to vlan ", bound.vlanId,
                         ". unbind this host ", bound.mac );
         unbindHostForHostInterceptFlow( flow );
      }
   }
   KEL_TRACE_INFO( "binding host ", host.mac, host.vlanId );
   if ( !info->boundHostHas( host ) ) {
      info->boundHostIs( host, IntfId() );
   }
   agentStatus()->boundHostIs( host, true );
   parent()->policyFragmentForHostIs( host, fragmentName() );
   flowForHostIs( host, flow.name );
   if ( auto const far = farIntfNimbusHostMacSm() ) {
      far->addInterceptedHost( host, flow.name );
   }
   installHostInterceptFlow( flow );
}

void KelPolicyFragment::unbindHostForHostInterceptFlow( FlowHandle & flow ) {
   KEL_TRACE_SCOPE( " flow: ", flow.name );
   if ( !initialized() || !isHostInterceptFlow( readFlowInfo( flow ) ) ) {
      return;
   }
   removeFlowWithItsDependents( flow );
   lookAgain( flow );
   if ( auto const info = flow.info ) {
      for ( MacVlanPair const & host : info->boundHostKeys() ) {
         bool const keep =
            isMatchVniBound( flow ) && host.vlanId == agentStatus()->vlanForVni( matchVni( flow ) );
         if ( keep ) {
            // Its rules have gone; the egress references must not be taken off a second time.
            info->boundHostIs( host, IntfId() );
         } else {
            cleanupBoundHostForFlow( flow );
         }
      }
   }
}

void KelPolicyFragment::cleanupBoundHostForFlow( FlowHandle & flow ) {
   KEL_TRACE_SCOPE( " flow: ", flow.name );
   lookAgain( flow );
   auto const info = flow.info;
   if ( info && isHostInterceptFlow( *info ) ) {
      for ( MacVlanPair const & host : info->boundHostKeys() ) {
         // Of two flows with one host, the one that goes takes the host's binding, of which there
         // is one, along: the other hears of the host again when it is read anew.
         info->boundHostDel( host );
         agentStatus()->boundHostDel( host );
         flowForHostDel( host );
         if ( auto const far = farIntfNimbusHostMacSm() ) {
            far->deleteInterceptedHost( host );
         }
         parent()->policyFragmentForHostDel( host );
      }
   }
}

void KelPolicyFragment::bindHostsForAllHostInterceptFlows() {
   forEachFlow( &KelPolicyFragment::isHostInterceptFlow,
                &KelPolicyFragment::bindHostForHostInterceptFlow );
}

void KelPolicyFragment::unbindHostsForAllHostInterceptFlows() {
   forEachFlow( &KelPolicyFragment::isHostInterceptFlow,
                &KelPolicyFragment::unbindHostForHostInterceptFlow );
}

void KelPolicyFragment::cleanupBoundHostsForAllFlows() {
   forEachFlow( &KelPolicyFragment::isHostInterceptFlow,
                &KelPolicyFragment::cleanupBoundHostForFlow );
}

void KelPolicyFragment::installHostInterceptFlow( FlowHandle & flow ) {
   KEL_TRACE_SCOPE( " flow: ", flow.name );
   if ( !initialized() || !isHostInterceptFlow( readFlowInfo( flow ) ) || !areHostsWarm( flow ) ||
        !areVnisBound( flow ) ) {
      return;
   }
   auto const info = flow.info;
   for ( MacVlanPair const & host : info->boundHostKeys() ) {
      lookAgain( flow );
      if ( !needsFlowInstallation( flow, host ) ) {
         continue;
      }
      removeFlowWithItsDependents( flow );
      IntfId const intf = agentStatus()->warmHost( host );
      auto const intfConfig = switchIntfConfigDir()->switchIntfConfig( intf );
      if ( !intfConfig ) {
         // The flow waits for the interface, and leaves nothing where the host was before.
         info->boundHostIs( host, IntfId() );
         continue;
      }
      installAllHostEgressFlowsOnIntf( intf );
      info->boundHostIs( host, intf );
      updateVniBindingForIntf( flow, intf );
      Bridging::VlanId const nativeVlan = intfConfig->trunkNativeVlan();
      info->nativeVlanIs( nativeVlan );
      QorClient::RuleKey ruleKey;
      ruleKey.inIntf = intf;
      KEL_TRACE_INFO( "Adding flow variant for tagged packets" );
      publishFlowRule( flow, ruleKey );
      if ( agentStatus()->vlanForVni( matchVni( flow ) ) == nativeVlan ) {
         // On its native VLAN the host's packets arrive untagged.
         KEL_TRACE_INFO( "Adding flow variant for untagged packets" );
         ruleKey.matchVlanTag = false;
         publishFlowRule( flow, ruleKey );
      }
   }
}

void KelPolicyFragment::installHostInterceptFlow( Kel::String const & flowName ) {
   FlowHandle flow{ flowName };
   installHostInterceptFlow( flow );
}

void KelPolicyFragment::removeHostInterceptFlow( FlowHandle & flow ) {
   KEL_TRACE_SCOPE( " flow: ", flow.name );
   lookAgain( flow );
   auto const info = flow.info;
   if ( info && isHostInterceptFlow( *info ) ) {
      // The binding stays, so that the flow is installed again as soon as the host returns.
      for ( MacVlanPair const & host : info->boundHostKeys() ) {
         KEL_TRACE_INFO( "boundHost is reset for: ", host );
         info->boundHostIs( host, IntfId() );
      }
   }
}

void KelPolicyFragment::handleWarmHost( MacVlanPair const & host ) {
   KEL_TRACE_SCOPE( " host: ", host );
   if ( !initialized() || !flowForHostHas( host ) ) {
      return;
   }
   FlowHandle flow = flowHandle( flowForHost( host ) );
   if ( areHostsWarm( flow ) ) {
      installHostInterceptFlow( flow );
   } else {
      removeFlowWithItsDependents( flow );
      removeHostInterceptFlow( flow );
   }
}

bool KelPolicyFragment::areHostsWarm( FlowHandle const & flow ) const {
   return flow.info && areHostsWarm( *flow.info );
}

bool KelPolicyFragment::areHostsWarm( QorClient::FlowInfo const & info ) const {
   auto const status = agentStatus();
   for ( MacVlanPair const & host : info.boundHostKeys() ) {
      if ( !status->warmHostHas( host ) ) {
         return false;
      }
   }
   return info.boundHostCount() != 0;
}

bool KelPolicyFragment::areHostsWarmForAnyFlow() const {
   if ( auto const fragment = fragInfo() ) {
      for ( auto const & [flowName, info] : fragment->flowInfo() ) {
         if ( isHostInterceptFlow( *info ) && areHostsWarm( *info ) ) {
            return true;
         }
      }
   }
   return false;
}

bool KelPolicyFragment::needsFlowInstallation( FlowHandle const & flow,
                                               MacVlanPair const & host ) const {
   IntfId const intf = agentStatus()->warmHost( host );
   if ( !intf ) {
      KEL_TRACE_INFO( " host has no valid intf. Returning false" );
      return false;
   }
   // A host that is seen on a service interface never moves its flow there.
   bool const notServiceIntf = !isServiceIntf( intf );
   bool const hostMoved = didHostMove( flow, host );
   bool const vlanChanged = didVlanChange( flow );
   bool const nativeChanged = didNativeVlanChange( flow, intf );
   bool const notPublished = !isFlowPublished( flow );
   bool const needed =
      notServiceIntf && ( hostMoved || vlanChanged || nativeChanged || notPublished );
   KEL_TRACE_INFO( notServiceIntf ? "interface was not service intf and " : "",
                   hostMoved ? "host was learnt on a new interface, " : "",
                   vlanChanged ? "vni-vlan map changed, " : "",
                   nativeChanged ? " native vlan changed, " : "",
                   notPublished ? " flow was not in hw" : "", " return ", needed );
   return needed;
}

bool KelPolicyFragment::didHostMove( FlowHandle const & flow, MacVlanPair const & host ) const {
   return agentStatus()->warmHost( host ) !=
          ( flow.info ? flow.info->boundHost( host ) : IntfId() );
}

bool KelPolicyFragment::didVlanChange( FlowHandle const & flow ) const {
   if ( !areVnisBound( flow ) ) {
      return true;
   }
   auto const status = agentStatus();
   return flow.info->matchVlan() != status->vlanForVni( matchVni( flow ) ) ||
          flow.info->rewriteVlan() != status->vlanForVni( actionVni( flow ) );
}

bool KelPolicyFragment::didNativeVlanChange( FlowHandle const & flow, IntfId intf ) const {
   auto const intfConfig = switchIntfConfigDir()->switchIntfConfig( intf );
   return intfConfig &&
          flow.info->nativeVlan() != Bridging::VlanIdOrNone( intfConfig->trunkNativeVlan() );
}

bool KelPolicyFragment::isServiceIntf( IntfId intf ) const {
   Kel::String const intfName = intf.name();
   for ( auto const & [name, set] : policyFragment()->serviceIntfSet() ) {
      if ( set->intfHas( intfName ) ) {
         return true;
      }
   }
   return false;
}

MacVlanPair KelPolicyFragment::getHostFromFlowName( FlowHandle const & flow ) const {
   if ( flowWithUnboundHostHas( flow.name ) ) {
      for ( auto const & [host, flowName] : flowForHost() ) {
         if ( flowName == flow.name ) {
            return host;
         }
      }
      return {};
   }
   // The host of any other flow is the one that it has bound, so the map need not be walked.
   if ( flow.info ) {
      for ( MacVlanPair const & host : flow.info->boundHostKeys() ) {
         if ( flowForHostHas( host ) && flowForHost( host ) == flow.name ) {
            return host;
         }
      }
   }
   return {};
}

std::uint32_t KelPolicyFragment::getHostMoveCount( MacVlanPair const & host ) const {
   if ( host == MacVlanPair{} ) {
      return 0;
   }
   return getHostFdbStatus( host, parent()->brConfig(), parent()->slabBrStatus() ).moveCount;
}

void KelPolicyFragment::installHostEgressFlowOnIntf( FlowHandle & flow, IntfId intf ) {
   KEL_TRACE_SCOPE( " flow: ", flow.name, " intf: ", intf );
   if ( !initialized() || !isHostEgressFlow( readFlowInfo( flow ) ) || !intf ) {
      return;
   }
   QorClient::RuleKey ruleKey;
   ruleKey.outIntf = intf;
   auto const rule = flow.info->ruleInfo( ruleKey );
   if ( !rule ) {
      publishFlowRule( flow, ruleKey );
   } else if ( rule->published() ) {
      rule->refCountInc( 1 );
      KEL_TRACE_INFO( "rule:", rule->ruleName(), " refCount: ", rule->refCount() );
   }
}

void KelPolicyFragment::removeHostEgressFlowFromIntf( FlowHandle & flow, IntfId intf ) {
   KEL_TRACE_SCOPE( " flow: ", flow.name, " intf: ", intf );
   if ( !initialized() || !isHostEgressFlow( readFlowInfo( flow ) ) || !intf ) {
      return;
   }
   QorClient::RuleKey ruleKey;
   ruleKey.outIntf = intf;
   auto const info = flow.info;
   if ( auto const rule = info->ruleInfo( ruleKey ) ) {
      if ( rule->published() && rule->refCount() != 0 ) {
         rule->refCountDec( 1 );
         KEL_TRACE_INFO( "rule:", rule->ruleName(), " refCount: ", rule->refCount() );
      }
      if ( rule->refCount() == 0 ) {
         revokePublishedFlowRule( flow, ruleKey );
         if ( info->ruleInfoCount() == 0 ) {
            updateFlowState( flow, Qor::FlowState::flowInitial );
         }
      }
   }
}

void KelPolicyFragment::installHostEgressFlowOnAllIntfs( FlowHandle & flow ) {
   KEL_TRACE_SCOPE( " flow: ", flow.name );
   if ( !initialized() || !isHostEgressFlow( readFlowInfo( flow ) ) ) {
      return;
   }
   for ( auto const & [name, info] : fragInfo()->flowInfo() ) {
      if ( isHostInterceptFlow( *info ) ) {
         for ( auto const & [host, intf] : info->boundHost() ) {
            installHostEgressFlowOnIntf( flow, intf );
         }
      }
   }
}

void KelPolicyFragment::installAllHostEgressFlowsOnIntf( IntfId intf ) {
   for ( Kel::String const & flowName : hostEgressFlow() ) {
      FlowHandle flow{ flowName };
      lookAgain( flow );
      // Another hand may have taken a flow's record away.
      if ( flow.info ) {
         installHostEgressFlowOnIntf( flow, intf );
      }
   }
}

void KelPolicyFragment::removeAllHostEgressFlowsFromIntf( IntfId intf ) {
   if ( intf ) {
      for ( Kel::String const & flowName : hostEgressFlow() ) {
         FlowHandle flow{ flowName };
         lookAgain( flow );
         if ( flow.info ) {
            removeHostEgressFlowFromIntf( flow, intf );
         }
      }
   }
}

}  // namespace QorClient::DatapathV1
