// Host flows: intercept rules where a host is learnt, egress rules wherever intercepted hosts are.

#include "platform/flashlog/DualLog.h"
#include "qorclient/agent/QorClientUtils.h"
#include "qorclient/datapath/HostFdbStatus.h"
#include "qorclient/datapath/KelPolicyFragment.h"
#include "qorclient/datapath/PolicyFragmentSm.h"

KEL_TRACE_UNIT( "QorClientDatapathV1", "QorClient" )

namespace QorClient::DatapathV1 {

using Bridging::MacVlanPair;
using QorClientUtils::convertVniToVniExt;
using Wirekit::IntfId;

void KelPolicyFragment::bindHostForHostInterceptFlow( Kel::String const & flowName ) {
   KEL_TRACE_SCOPE( " flow: ", flowName );
   auto const info = flowInfo( flowName );
   if ( !initialized() || !info || flowInCleanupHas( flowName ) ||
        !isHostInterceptFlow( flowName ) || !isMatchVniBound( flowName ) ) {
      return;
   }
   Vxlan::VniExtOrNone const vni = matchVni( flowName );
   MacVlanPair const host{ policyFragment()->flow( flowName ).match.srcMac,
                           agentStatus()->vlanForVni( vni ) };
   for ( MacVlanPair const & bound : info->boundHostKeys() ) {
      if ( bound.mac == host.mac && bound.vlanId != host.vlanId ) {
         KEL_TRACE_INFO( "VniExt ", vni, " is not mapped to vlan ", bound.vlanId,
                         ". unbind this host ", bound.mac );
         unbindHostForHostInterceptFlow( flowName );
      }
   }
   KEL_TRACE_INFO( "binding host ", host.mac, host.vlanId );
   if ( !info->boundHostHas( host ) ) {
      info->boundHostIs( host, IntfId() );
   }
   agentStatus()->boundHostIs( host, true );
   parent()->policyFragmentForHostIs( host, fragmentName() );
   flowForHostIs( host, flowName );
   if ( auto const far = farIntfNimbusHostMacSm() ) {
      far->addInterceptedHost( host, flowName );
   }
   installHostInterceptFlow( flowName );
}

void KelPolicyFragment::unbindHostForHostInterceptFlow( Kel::String const & flowName ) {
   KEL_TRACE_SCOPE( " flow: ", flowName );
   if ( !initialized() || !isHostInterceptFlow( flowName ) ) {
      return;
   }
   removeFlowWithItsDependents( flowName );
   if ( auto const info = flowInfo( flowName ) ) {
      for ( MacVlanPair const & host : info->boundHostKeys() ) {
         bool const keep = isMatchVniBound( flowName ) &&
                           host.vlanId == agentStatus()->vlanForVni( matchVni( flowName ) );
         if ( keep ) {
            // Its rules have gone; the egress references must not be taken off a second time.
            info->boundHostIs( host, IntfId() );
         } else {
            cleanupBoundHostForFlow( flowName );
         }
      }
   }
}

void KelPolicyFragment::cleanupBoundHostForFlow( Kel::String const & flowName ) {
   KEL_TRACE_SCOPE( " flow: ", flowName );
   auto const info = flowInfo( flowName );
   if ( info && isHostInterceptFlow( flowName ) ) {
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

void KelPolicyFragment::installHostInterceptFlow( Kel::String const & flowName ) {
   KEL_TRACE_SCOPE( " flow: ", flowName );
   if ( !initialized() || !isHostInterceptFlow( flowName ) || !areHostsWarm( flowName ) ||
        !areVnisBound( flowName ) ) {
      return;
   }
   auto const info = flowInfo( flowName );
   for ( MacVlanPair const & host : info->boundHostKeys() ) {
      if ( !needsFlowInstallation( flowName, host ) ) {
         continue;
      }
      removeFlowWithItsDependents( flowName );
      IntfId const intf = agentStatus()->warmHost( host );
      auto const intfConfig = switchIntfConfigDir()->switchIntfConfig( intf );
      if ( !intfConfig ) {
         // The flow waits for the interface, and leaves nothing where the host was before.
         info->boundHostIs( host, IntfId() );
         continue;
      }
      installAllHostEgressFlowsOnIntf( intf );
      info->boundHostIs( host, intf );
      updateVniBindingForIntf( flowName, intf );
      Bridging::VlanId const nativeVlan = intfConfig->trunkNativeVlan();
      info->nativeVlanIs( nativeVlan );
      QorClient::RuleKey ruleKey;
      ruleKey.inIntf = intf;
      KEL_TRACE_INFO( "Adding flow variant for tagged packets" );
      publishFlowRule( flowName, ruleKey );
      if ( agentStatus()->vlanForVni( matchVni( flowName ) ) == nativeVlan ) {
         // On its native VLAN the host's packets arrive untagged.
         KEL_TRACE_INFO( "Adding flow variant for untagged packets" );
         ruleKey.matchVlanTag = false;
         publishFlowRule( flowName, ruleKey );
      }
   }
}

void KelPolicyFragment::removeHostInterceptFlow( Kel::String const & flowName ) {
   KEL_TRACE_SCOPE( " flow: ", flowName );
   auto const info = flowInfo( flowName );
   if ( info && isHostInterceptFlow( flowName ) ) {
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
   Kel::String const flowName = flowForHost( host );
   if ( areHostsWarm( flowName ) ) {
      installHostInterceptFlow( flowName );
   } else {
      removeFlowWithItsDependents( flowName );
      removeHostInterceptFlow( flowName );
   }
}

bool KelPolicyFragment::areHostsWarm( Kel::String const & flowName ) const {
   auto const info = flowInfo( flowName );
   return info && areHostsWarm( *info );
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

bool KelPolicyFragment::needsFlowInstallation( Kel::String const & flowName,
                                               MacVlanPair const & host ) const {
   IntfId const intf = agentStatus()->warmHost( host );
   if ( !intf ) {
      KEL_TRACE_INFO( " host has no valid intf. Returning false" );
      return false;
   }
   // A host that is seen on a service interface never moves its flow there.
   bool const notServiceIntf = !isServiceIntf( intf );
   bool const hostMoved = didHostMove( flowName, host );
   bool const vlanChanged = didVlanChange( flowName );
   bool const nativeChanged = didNativeVlanChange( flowName, intf );
   bool const notPublished = !isFlowPublished( flowName );
   bool const needed =
      notServiceIntf && ( hostMoved || vlanChanged || nativeChanged || notPublished );
   KEL_TRACE_INFO( notServiceIntf ? "interface was not service intf and " : "",
                   hostMoved ? "host was learnt on a new interface, " : "",
                   vlanChanged ? "vni-vlan map changed, " : "",
                   nativeChanged ? " native vlan changed, " : "",
                   notPublished ? " flow was not in hw" : "", " return ", needed );
   return needed;
}

bool KelPolicyFragment::didHostMove( Kel::String const & flowName,
                                     MacVlanPair const & host ) const {
   auto const info = flowInfo( flowName );
   return agentStatus()->warmHost( host ) != ( info ? info->boundHost( host ) : IntfId() );
}

bool KelPolicyFragment::didVlanChange( Kel::String const & flowName ) const {
   Qor::V1::PolicyFlowInfo const flowConfig = policyFragment()->flow( flowName );
   if ( !isVniBound( flowConfig.match.vni ) || !isVniBound( flowConfig.action.vni ) ) {
      return true;
   }
   auto const info = flowInfo( flowName );
   auto const status = agentStatus();
   return info->matchVlan() != status->vlanForVni( convertVniToVniExt( flowConfig.match.vni ) ) ||
          info->rewriteVlan() != status->vlanForVni( convertVniToVniExt( flowConfig.action.vni ) );
}

bool KelPolicyFragment::didNativeVlanChange( Kel::String const & flowName, IntfId intf ) const {
   auto const intfConfig = switchIntfConfigDir()->switchIntfConfig( intf );
   return intfConfig && flowInfo( flowName )->nativeVlan() !=
                           Bridging::VlanIdOrNone( intfConfig->trunkNativeVlan() );
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

MacVlanPair KelPolicyFragment::getHostFromFlowName( Kel::String const & flowName ) const {
   if ( flowWithUnboundHostHas( flowName ) ) {
      for ( auto const & [host, flow] : flowForHost() ) {
         if ( flow == flowName ) {
            return host;
         }
      }
      return {};
   }
   // The host of any other flow is the one that it has bound, so the map need not be walked.
   if ( auto const info = flowInfo( flowName ) ) {
      for ( MacVlanPair const & host : info->boundHostKeys() ) {
         if ( flowForHostHas( host ) && flowForHost( host ) == flowName ) {
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

void KelPolicyFragment::installHostEgressFlowOnIntf( Kel::String const & flowName, IntfId intf ) {
   KEL_TRACE_SCOPE( " flow: ", flowName, " intf: ", intf );
   if ( !initialized() || !isHostEgressFlow( flowName ) || !intf ) {
      return;
   }
   QorClient::RuleKey ruleKey;
   ruleKey.outIntf = intf;
   auto const rule = flowInfo( flowName )->ruleInfo( ruleKey );
   if ( !rule ) {
      publishFlowRule( flowName, ruleKey );
   } else if ( rule->published() ) {
      rule->refCountInc( 1 );
      KEL_TRACE_INFO( "rule:", rule->ruleName(), " refCount: ", rule->refCount() );
   }
}

void KelPolicyFragment::removeHostEgressFlowFromIntf( Kel::String const & flowName, IntfId intf ) {
   KEL_TRACE_SCOPE( " flow: ", flowName, " intf: ", intf );
   if ( !initialized() || !isHostEgressFlow( flowName ) || !intf ) {
      return;
   }
   QorClient::RuleKey ruleKey;
   ruleKey.outIntf = intf;
   auto const info = flowInfo( flowName );
   if ( auto const rule = info->ruleInfo( ruleKey ) ) {
      if ( rule->published() && rule->refCount() != 0 ) {
         rule->refCountDec( 1 );
         KEL_TRACE_INFO( "rule:", rule->ruleName(), " refCount: ", rule->refCount() );
      }
      if ( rule->refCount() == 0 ) {
         revokePublishedFlowRule( flowName, ruleKey );
         if ( info->ruleInfoCount() == 0 ) {
            updateFlowState( flowName, Qor::FlowState::flowInitial );
         }
      }
   }
}

void KelPolicyFragment::installHostEgressFlowOnAllIntfs( Kel::String const & flowName ) {
   KEL_TRACE_SCOPE( " flow: ", flowName );
   if ( !initialized() || !isHostEgressFlow( flowName ) ) {
      return;
   }
   for ( auto const & [name, info] : fragInfo()->flowInfo() ) {
      if ( isHostInterceptFlow( *info ) ) {
         for ( auto const & [host, intf] : info->boundHost() ) {
            installHostEgressFlowOnIntf( flowName, intf );
         }
      }
   }
}

void KelPolicyFragment::installAllHostEgressFlowsOnIntf( IntfId intf ) {
   for ( Kel::String const & flowName : hostEgressFlow() ) {
      // Another hand may have taken a flow's record away.
      if ( flowInfo( flowName ) ) {
         installHostEgressFlowOnIntf( flowName, intf );
      }
   }
}

void KelPolicyFragment::removeAllHostEgressFlowsFromIntf( IntfId intf ) {
   if ( intf ) {
      for ( Kel::String const & flowName : hostEgressFlow() ) {
         if ( flowInfo( flowName ) ) {
            removeHostEgressFlowFromIntf( flowName, intf );
         }
      }
   }
}

}  // namespace QorClient::DatapathV1
