#include "qorclient/datapath/KelPolicyFragment.h"

#include "platform/flashlog/DualLog.h"
#include "platform/kel/Assert.h"
#include "qorclient/agent/QorClientUtils.h"
#include "qorclient/datapath/PolicyFragmentSm.h"

KEL_TRACE_UNIT( "QorClientDatapathV1", "QorClient" )

KEL_MACHINE_TYPE( QorClient::DatapathV1::KelPolicyFragment )

using QorClientUtils::convertVniToVniExt;

namespace QorClient::DatapathV1 {

Kel::Ptr< QorClient::Status > KelPolicyFragment::agentStatus() const {
   return parent()->agentStatus();
}

Kel::Ptr< OpenFlowTable::PinFlowHwConfig > KelPolicyFragment::pfHwConfig() const {
   return parent()->pfHwConfig();
}

Kel::Ptr< OpenFlowTable::HwStatus const > KelPolicyFragment::pfHwStatus() const {
   return parent()->pfHwStatus();
}

Kel::Ptr< OpenFlowTable::HwStatus const > KelPolicyFragment::ofHwStatus() const {
   return parent()->ofHwStatus();
}

Kel::Ptr< Bridging::SwitchIntfConfigDir const > KelPolicyFragment::switchIntfConfigDir() const {
   return parent()->switchIntfConfigDir();
}

Kel::Ptr< QorClient::PolicyFragmentInfo > KelPolicyFragment::fragInfo() const {
   return agentStatus()->policyFragmentInfo( fragmentName() );
}

Kel::Ptr< QorClient::FlowInfo > KelPolicyFragment::flowInfo( Kel::String const & flowName ) const {
   auto info = fragInfo();
   return info ? info->flowInfo( flowName ) : nullptr;
}

Kel::Ptr< Qor::V1::ServicePolicyFragmentStatus > KelPolicyFragment::fragmentStatus() const {
   return parent()->polFragStatus()->policyFragment( fragmentName() );
}

Kel::Ptr< QorClient::FlowInfo > KelPolicyFragment::readFlowInfo(
   Kel::String const & flowName ) const {
   auto fragInfo = this->fragInfo();
   KEL_ASSERT( fragInfo, "QorClientDatapathV1" );
   auto flowInfo = fragInfo->flowInfo( flowName );
   KEL_ASSERT( flowInfo, "QorClientDatapathV1" );
   return flowInfo;
}

bool KelPolicyFragment::isServiceFlow( QorClient::FlowInfo const & info ) {
   return !info.serviceIntfKey().empty();
}

bool KelPolicyFragment::isHostInterceptFlow( QorClient::FlowInfo const & info ) {
   return !isServiceFlow( info ) && info.isInterceptIngress();
}

bool KelPolicyFragment::isHostEgressFlow( QorClient::FlowInfo const & info ) {
   return !isServiceFlow( info ) && !info.isInterceptIngress();
}

bool KelPolicyFragment::isServiceFlow( Kel::String const & flowName ) const {
   return isServiceFlow( *readFlowInfo( flowName ) );
}

bool KelPolicyFragment::isHostInterceptFlow( Kel::String const & flowName ) const {
   return isHostInterceptFlow( *readFlowInfo( flowName ) );
}

bool KelPolicyFragment::isHostEgressFlow( Kel::String const & flowName ) const {
   return isHostEgressFlow( *readFlowInfo( flowName ) );
}

void KelPolicyFragment::forEachFlow( FlowClass flowClass, FlowOperation operation ) {
   if ( auto info = fragInfo() ) {
      for ( Kel::String const & flowName : info->flowInfoKeys() ) {
         if ( flowClass( *readFlowInfo( flowName ) ) ) {
            ( this->*operation )( flowName );
         }
      }
   }
}

void KelPolicyFragment::createNestedReactors() {
   for ( auto const & [name, set] : policyFragment()->serviceIntfSet() ) {
      serviceIntfSetIs( set );
   }
}

void KelPolicyFragment::handleInitialized() {
   KEL_TRACE_SCOPE( " fragment: ", fragmentName() );
   initializedIs( parent()->initialized() );
   if ( !initialized() ) {
      return;
   }
   parent()->polFragStatus()->policyFragmentIs( fragmentName() );
   agentStatus()->policyFragmentInfoIs( fragmentName() );
   forEachFlow( &KelPolicyFragment::isHostEgressFlow, &KelPolicyFragment::hostEgressFlowIs );
   handleOriginalVni();
   handleServiceVni();
   handleFlow();
   handleGrCookie();
   for ( auto const & [name, set] : serviceIntfSet() ) {
      set->handleInitialized();
   }
}

void KelPolicyFragment::cleanup() {
   KEL_TRACE_SCOPE( " fragment: ", fragmentName() );
   if ( !initialized() ) {
      return;
   }
   policyGrCookieSmDel();
   for ( Kel::String const & flowName : fragInfo()->flowInfoKeys() ) {
      revokePublishedFlow( flowName );
   }
   destroyServiceIntfMacSm( "near" );
   destroyServiceIntfMacSm( "far" );
   cleanupBoundHostsForAllFlows();
   removeVniBindings();
   // The configuration may have gone already; the status remembers what was taken over.
   Vxlan::VniExtOrNone const originalVni = convertVniToVniExt( fragmentStatus()->originalVni() );
   Vxlan::VniExtOrNone const serviceVni = convertVniToVniExt( fragmentStatus()->serviceVni() );
   parent()->policyFragmentForVniDel( originalVni );
   parent()->policyFragmentForVniDel( serviceVni );
   agentStatus()->policyFragmentInfoDel( fragmentName() );
   parent()->polFragStatus()->policyFragmentDel( fragmentName() );
   parent()->removeServiceVlanToOriginalVlan( serviceVni );
}

void KelPolicyFragment::handleServiceIntfSet( Kel::Name const & setName ) {
   KEL_TRACE_SCOPE( " set: ", setName );
   if ( auto set = policyFragment()->serviceIntfSet( setName ) ) {
      serviceIntfSetIs( set );
   } else if ( auto gone = serviceIntfSetDel( setName ) ) {
      gone->cleanup();
   }
}

void KelPolicyFragment::handleGrCookie() {
   KEL_TRACE_SCOPE( " fragment: ", fragmentName() );
   if ( !initialized() ) {
      KEL_TRACE_INFO( "Not initialized" );
      return;
   }
   auto const status = fragmentStatus();
   if ( auto const cookie = policyFragment()->grCookie() ) {
      status->grCookieIs( cookie->name() );
      policyGrCookieSmIs( fragmentName(), cookie, status->grCookie() );
   } else {
      policyGrCookieSmDel();
      status->grCookieDel();
   }
}

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
   auto info = flowInfo( flowName );
   bool const present = policyFragment()->flowHas( flowName );
   Qor::V1::PolicyFlowInfo const flowConfig = policyFragment()->flow( flowName );
   // A service flow whose set has gone counts as changed.
   bool const unchanged =
      info && info->flowConfig() == flowConfig &&
      ( info->flowConfig().serviceIntfKey.empty() ||
        policyFragment()->serviceIntfSetHas( info->flowConfig().serviceIntfKey ) );
   if ( unchanged ) {
      KEL_TRACE_INFO( "fragment: ", fragmentName(), " flow:", flowName, " unchanged flow" );
      if ( present && isHostInterceptFlow( flowName ) && isMatchVniBound( flowName ) ) {
         populateTransientStates( flowName );
      }
      return;
   }
   if ( info ) {
      doFlowCleanup( flowName );
   }
   if ( !policyFragment()->flowHas( flowName ) ) {
      KEL_TRACE_INFO( "FlowId ", flowName, " removed" );
      fragmentStatus()->flowStatusDel( flowName );
   } else {
      readFlow( flowName, flowConfig );
   }
}

void KelPolicyFragment::populateTransientStates( Kel::String const & flowName ) {
   // The rules that were published before a restart stay; only these two maps were lost with it.
   KEL_TRACE_INFO( "Populating transient states" );
   Bridging::MacVlanPair const host{ policyFragment()->flow( flowName ).match.srcMac,
                                     agentStatus()->vlanForVni( matchVni( flowName ) ) };
   parent()->policyFragmentForHostIs( host, fragmentName() );
   flowForHostIs( host, flowName );
   if ( !flowInfo( flowName )->boundHostHas( host ) ) {
      // Its VLAN has changed while nobody heard of it.
      flowWithUnboundHostIs( flowName );
   }
}

void KelPolicyFragment::readFlow( Kel::String const & flowName,
                                  Qor::V1::PolicyFlowInfo const & flowConfig ) {
   KEL_TRACE_INFO( "Reading flow ", flowName, ". flow added/changed " );
   Qor::V1::PolicyFlowStatus status;
   status.flowName = flowName;
   fragmentStatus()->flowStatusIs( status );
   auto info = fragInfo()->flowInfoIs( flowName );
   info->flowConfigIs( flowConfig );
   info->rulePrefixIs( Kel::String::concat( { fragmentName(), "_", flowName } ) );
   info->serviceIntfKeyIs( flowConfig.serviceIntfKey );
   info->isInterceptIngressIs( flowConfig.interceptPoint ==
                               Qor::V1::InterceptPoint::interceptIngress );
   if ( isHostEgressFlow( flowName ) ) {
      // Now, since what the bindings set off concerns the flow already.
      hostEgressFlowIs( flowName );
   }

   for ( Vxlan::VniOrNone vni : { flowConfig.match.vni, flowConfig.action.vni } ) {
      if ( !vni.isNone() ) {
         bindVniForFlow( flowName, { convertVniToVniExt( vni ), {}, fragmentName() } );
      }
   }

   if ( isServiceFlow( flowName ) ) {
      installServiceFlow( flowName );
   } else if ( isMatchVniBound( flowName ) ) {
      if ( isHostInterceptFlow( flowName ) ) {
         bindHostForHostInterceptFlow( flowName );
      } else {
         installHostEgressFlowOnAllIntfs( flowName );
      }
   }
   updateFlowState( flowName, Qor::FlowState::flowInitial );
}

}  // namespace QorClient::DatapathV1
