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

void KelPolicyFragment::lookAgain( FlowHandle & flow ) const {
   if ( flow.stands() ) {
      return;
   }
   if ( !flow.fragInfo || !flow.fragInfo->parent() ) {
      flow.fragInfo = fragInfo();
   }
   flow.info = flow.fragInfo ? flow.fragInfo->flowInfo( flow.name ) : nullptr;
}

FlowHandle KelPolicyFragment::flowHandle( Kel::String const & flowName ) const {
   FlowHandle flow{ flowName };
   lookAgain( flow );
   return flow;
}

Qor::V1::PolicyFlowInfo const & KelPolicyFragment::configOf( FlowHandle const & flow ) const {
   return policyFragment()->flowInPlace( flow.name );
}

QorClient::FlowInfo const & KelPolicyFragment::readFlowInfo( FlowHandle & flow ) const {
   lookAgain( flow );
   KEL_ASSERT( flow.fragInfo, "QorClientDatapathV1" );
   KEL_ASSERT( flow.info, "QorClientDatapathV1" );
   return *flow.info;
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
   FlowHandle flow{ flowName };
   return isServiceFlow( readFlowInfo( flow ) );
}

bool KelPolicyFragment::isHostInterceptFlow( Kel::String const & flowName ) const {
   FlowHandle flow{ flowName };
   return isHostInterceptFlow( readFlowInfo( flow ) );
}

bool KelPolicyFragment::isHostEgressFlow( Kel::String const & flowName ) const {
   FlowHandle flow{ flowName };
   return isHostEgressFlow( readFlowInfo( flow ) );
}

void KelPolicyFragment::forEachFlow( FlowClass flowClass, FlowOperation operation ) {
   if ( auto info = fragInfo() ) {
      for ( Kel::String const & flowName : info->flowInfoKeys() ) {
         FlowHandle flow{ flowName, info };
         if ( flowClass( readFlowInfo( flow ) ) ) {
            ( this->*operation )( flow );
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
   forEachFlow( &KelPolicyFragment::isHostEgressFlow, &KelPolicyFragment::noteHostEgressFlow );
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

void KelPolicyFragment::noteHostEgressFlow( FlowHandle & flow ) {
   hostEgressFlowIs( flow.name );
}

void KelPolicyFragment::readFlow( Kel::String const & flowName,
                                  Qor::V1::PolicyFlowInfo const & flowConfig ) {
   KEL_TRACE_INFO( "Reading flow ", flowName, ". flow added/changed " );
   Qor::V1::PolicyFlowStatus status;
   status.flowName = flowName;
   fragmentStatus()->flowStatusIs( status );
   auto const fragInfo = this->fragInfo();
   auto const info = fragInfo->flowInfoIs( flowName );
   info->flowConfigIs( flowConfig );
   info->rulePrefixIs( Kel::String::concat( { fragmentName(), "_", flowName } ) );
   info->serviceIntfKeyIs( flowConfig.serviceIntfKey );
   info->isInterceptIngressIs( flowConfig.interceptPoint ==
                               Qor::V1::InterceptPoint::interceptIngress );
   FlowHandle flow{ flowName, fragInfo, info };
   if ( isHostEgressFlow( readFlowInfo( flow ) ) ) {
      // Now, since what the bindings set off concerns the flow already.
      noteHostEgressFlow( flow );
   }

   for ( Vxlan::VniOrNone vni : { flowConfig.match.vni, flowConfig.action.vni } ) {
      if ( !vni.isNone() ) {
         bindVniForFlow( flow, { convertVniToVniExt( vni ), {}, fragmentName() } );
      }
   }

   if ( isServiceFlow( readFlowInfo( flow ) ) ) {
      installServiceFlow( flow );
   } else if ( isMatchVniBound( flow ) ) {
      if ( isHostInterceptFlow( *flow.info ) ) {
         bindHostForHostInterceptFlow( flow );
      } else {
         installHostEgressFlowOnAllIntfs( flow );
      }
   }
   updateFlowState( flow, Qor::FlowState::flowInitial );
}

}  // namespace QorClient::DatapathV1
