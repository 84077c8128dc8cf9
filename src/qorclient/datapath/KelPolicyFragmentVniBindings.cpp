// VNI bindings: which VNIs the fragment needs, and what follows when one gets or loses its VLAN.

#include "platform/flashlog/DualLog.h"
#include "qorclient/agent/QorClientUtils.h"
#include "qorclient/datapath/KelPolicyFragment.h"
#include "qorclient/datapath/PolicyFragmentSm.h"

KEL_TRACE_UNIT( "QorClientDatapathV1", "QorClient" )

using QorClientUtils::convertVniToVniExt;

namespace QorClient::DatapathV1 {

void KelPolicyFragment::bindVni( QorClient::VniAndIntfForPolicyFragment const & vip ) {
   KEL_TRACE_SCOPE( " vni:", vip.vni, " intfId:", vip.intfId );
   if ( !initialized() ) {
      return;
   }
   if ( vip.vni.isNone() ) {
      KEL_TRACE_INFO( "Invalid VniExt, do not bind" );
      return;
   }
   if ( auto info = fragInfo() ) {
      bool const first = !info->boundVniHas( vip );
      std::uint32_t const count = first ? 1 : info->boundVni( vip ) + 1;
      info->boundVniIs( vip, count );
      if ( first ) {
         agentStatus()->boundVniIs( vip, true );
      }
      KEL_TRACE_INFO( count, " flow(s) need vni ", vip.vni );
   }
}

void KelPolicyFragment::unbindVni( QorClient::VniAndIntfForPolicyFragment const & vip ) {
   KEL_TRACE_SCOPE( " vni:", vip.vni, " intfId:", vip.intfId );
   if ( !initialized() ) {
      return;
   }
   if ( vip.vni.isNone() ) {
      KEL_TRACE_INFO( "Invalid VniExt, was never bound" );
      return;
   }
   auto info = fragInfo();
   if ( !info ) {
      return;
   }
   std::uint32_t count = 0;
   if ( info->boundVniHas( vip ) ) {
      count = info->boundVni( vip ) - 1;
      info->boundVniIs( vip, count );
      KEL_TRACE_INFO( count, " flow(s) need vni ", vip.vni );
   }
   // One that was never counted leaves the agent's own bindings all the same.
   if ( count == 0 ) {
      info->boundVniDel( vip );
      agentStatus()->boundVniDel( vip );
   }
}

void KelPolicyFragment::bindVniForFlow( FlowHandle & flow,
                                        QorClient::VniAndIntfForPolicyFragment const & vip ) {
   KEL_TRACE_SCOPE( " flow: ", flow.name, " vni:", vip.vni, " intfId:", vip.intfId );
   if ( !initialized() || flowInCleanupHas( flow.name ) ) {
      return;
   }
   lookAgain( flow );
   if ( flow.info && !flow.info->boundVni( vip ) ) {
      flow.info->boundVniIs( vip, true );
      bindVni( vip );
   }
}

void KelPolicyFragment::unbindVnisForFlow( FlowHandle & flow ) {
   KEL_TRACE_SCOPE( " flow: ", flow.name );
   lookAgain( flow );
   if ( auto const info = flow.info ) {
      for ( auto const & vip : info->boundVniKeys() ) {
         unbindVni( vip );
      }
      info->boundVniDelAll();
   }
}

void KelPolicyFragment::updateVniBindingForIntf( FlowHandle & flow, Wirekit::IntfId intf ) {
   KEL_TRACE_SCOPE( " flow: ", flow.name, " intf: ", intf );
   lookAgain( flow );
   auto const info = flow.info;
   if ( !initialized() || !info ) {
      return;
   }
   for ( auto const & vip : info->boundVniKeys() ) {
      if ( vip.intfId && vip.intfId != intf ) {
         unbindVni( vip );
         info->boundVniDel( vip );
      }
   }
   for ( Vxlan::VniExtOrNone vni : { matchVni( flow ), actionVni( flow ) } ) {
      QorClient::VniAndIntfForPolicyFragment const vip{ vni, intf, fragmentName() };
      if ( !info->boundVniHas( vip ) ) {
         bindVniForFlow( flow, vip );
      }
   }
}

void KelPolicyFragment::removeVniBindings() {
   KEL_TRACE_SCOPE( " fragment: ", fragmentName() );
   for ( auto const & [name, set] : fragInfo()->serviceIntfSetInfo() ) {
      for ( auto const & vip : set->boundVniKeys() ) {
         agentStatus()->boundVniDel( vip );
      }
   }
}

Vxlan::VniExtOrNone KelPolicyFragment::matchVni( FlowHandle const & flow ) const {
   return convertVniToVniExt( configOf( flow ).match.vni );
}

Vxlan::VniExtOrNone KelPolicyFragment::actionVni( FlowHandle const & flow ) const {
   return convertVniToVniExt( configOf( flow ).action.vni );
}

Bridging::VlanIdOrNone KelPolicyFragment::vlanOf( Vxlan::VniExtOrNone vni ) const {
   auto const status = agentStatus();
   Bridging::VlanId const vlan = status->vlanForVni( vni );
   // One that is mapped to the default VLAN looks like one that isn't mapped.
   if ( vlan == Bridging::VlanId() && !status->vlanForVniHas( vni ) ) {
      return {};
   }
   return vlan;
}

bool KelPolicyFragment::isVniBound( Vxlan::VniOrNone vni ) const {
   return agentStatus()->vlanForVniHas( convertVniToVniExt( vni ) );
}

bool KelPolicyFragment::isMatchVniBound( FlowHandle const & flow ) const {
   return isVniBound( configOf( flow ).match.vni );
}

bool KelPolicyFragment::isActionVniBound( FlowHandle const & flow ) const {
   return isVniBound( configOf( flow ).action.vni );
}

bool KelPolicyFragment::areVnisBound( FlowHandle const & flow ) const {
   return isMatchVniBound( flow ) && isActionVniBound( flow );
}

void KelPolicyFragment::handleOriginalVni() {
   KEL_TRACE_SCOPE();
   if ( initialized() ) {
      takeOverVni( policyFragment()->originalVni(), fragmentStatus()->originalVni(),
                   &Qor::V1::ServicePolicyFragmentStatus::originalVniIs, "far",
                   convertVniToVniExt( policyFragment()->serviceVni() ) );
   } else {
      KEL_TRACE_INFO( "Not initialized" );
   }
}

void KelPolicyFragment::handleServiceVni() {
   KEL_TRACE_SCOPE();
   if ( initialized() ) {
      takeOverVni( policyFragment()->serviceVni(), fragmentStatus()->serviceVni(),
                   &Qor::V1::ServicePolicyFragmentStatus::serviceVniIs, "near",
                   convertVniToVniExt( fragmentStatus()->serviceVni() ) );
   } else {
      KEL_TRACE_INFO( "Not initialized" );
   }
}

/**
 * One of the fragment's two VNIs as configured, against the one known so far. The set that carries
 * it goes down and up with a change; `staleServiceVni` is the service VNI under which the VLAN pair
 * was entered.
 */
void KelPolicyFragment::takeOverVni(
   Vxlan::VniOrNone wanted, Vxlan::VniOrNone known,
   void ( Qor::V1::ServicePolicyFragmentStatus::*store )( Vxlan::VniOrNone const & ),
   Kel::Name const & setName, Vxlan::VniExtOrNone staleServiceVni ) {
   auto const set = kelServiceIntfSet( setName );
   if ( wanted.isNone() ) {
      // The status keeps its value: what comes next is compared with it.
      parent()->policyFragmentForVniDel( convertVniToVniExt( known ) );
      parent()->removeServiceVlanToOriginalVlan( staleServiceVni );
      if ( set ) {
         set->cleanup();
      }
      return;
   }
   // A VNI leads to one fragment: of two that have it, the later one alone hears of it, and of VNIs
   // that are swapped, the one that is given up second leads nowhere.
   parent()->policyFragmentForVniIs( convertVniToVniExt( wanted ), fragmentName() );
   ( fragmentStatus().ptr()->*store )( wanted );
   if ( wanted != known ) {
      parent()->policyFragmentForVniDel( convertVniToVniExt( known ) );
      parent()->removeServiceVlanToOriginalVlan( staleServiceVni );
      if ( set ) {
         set->cleanup();
         set->handleInitialized();
      }
   }
   parent()->addServiceVlanToOriginalVlan( convertVniToVniExt( policyFragment()->serviceVni() ),
                                           convertVniToVniExt( policyFragment()->originalVni() ) );
}

void KelPolicyFragment::handleVlanForVni( Vxlan::VniExtOrNone vni ) {
   KEL_TRACE_SCOPE( " vni:", vni );
   if ( !initialized() ) {
      KEL_TRACE_INFO( "Not initialized" );
      return;
   }
   Vxlan::VniExtOrNone const service = convertVniToVniExt( policyFragment()->serviceVni() );
   Vxlan::VniExtOrNone const original = convertVniToVniExt( policyFragment()->originalVni() );
   bool changed = true;
   if ( !agentStatus()->vlanForVniHas( vni ) ) {
      KEL_TRACE_INFO( "VniExt ", vni, " no longer mapped to any vlan" );
      unbindHostsForAllHostInterceptFlows();
      fragInfo()->vlanForVniDel( vni );
      parent()->removeServiceVlanToOriginalVlan( service );
   } else {
      Bridging::VlanId const vlan = agentStatus()->vlanForVni( vni );
      KEL_TRACE_INFO( "VniExt ", vni, " mapped to Vlan ", vlan );
      changed = !fragInfo()->vlanForVniHas( vni ) || fragInfo()->vlanForVni( vni ) != vlan;
      if ( changed ) {
         KEL_TRACE_INFO( "VniExt mapping is changed", vlan );
         bindHostsForAllHostInterceptFlows();
      }
      parent()->addServiceVlanToOriginalVlan( service, original );
   }
   if ( changed ) {
      updateFlowStateAll( Qor::FlowState::flowInitial );
      installAllServiceFlows();
   }
   if ( auto const far = farIntfNimbusHostMacSm(); far && far->vni() == vni ) {
      far->handleVlan();
   }
   if ( auto const near = nearIntfGlideMacSm(); near && near->vni() == vni ) {
      near->handleVlan();
   }
}

}  // namespace QorClient::DatapathV1
