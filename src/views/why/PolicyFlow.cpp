#include "views/why/PolicyFlow.h"

#include "qorclient/agent/QorClientUtils.h"
#include "records/catalog/Catalog.h"
#include "records/qor/PolicyFragmentStatus.h"
#include "records/vxlan/VniSviConfig.h"
#include "views/tables/Places.h"
#include "views/tables/Words.h"
#include "views/why/Links.h"

namespace Views {

using Bridging::VlanId;
using QorClientUtils::convertVniToVniExt;
using Wirekit::IntfId;

PolicyFlow::PolicyFlow( Corestore::EntityManager const & em, FlowPlace const & place )
   : em_( em ),
     place_( place ),
     agent_( em.entity< QorClient::Status >( Catalog::pathOf( "agentStatus" ) ) ),
     policy_( policyOf( em ) ),
     fragment_( policy_ ? policy_->policyFragment( place.place ) : nullptr ),
     fragmentInfo_( agent_->policyFragmentInfo( place.place ) ),
     info_( fragmentInfo_ ? fragmentInfo_->flowInfo( place.flow ) : nullptr ) {
   if ( fragment_ && fragment_->flowHas( place.flow ) ) {
      config_ = fragment_->flow( place.flow );
   }
}

Chain PolicyFlow::take() const {
   Chain chain( flowPath( place_.place, place_.flow ),
                config_ ? kindWord( *config_ ) + " flow" : "not configured" );
   addGate( chain, em_, false );
   std::vector< QorClient::RuleKey > wanted;
   if ( addFlow( chain ) ) {
      addVni( chain, "match VNI", config_->match.vni );
      addVni( chain, "action VNI", config_->action.vni );
      wanted = isHostIngress()  ? addHost( chain )
               : isHostEgress() ? addHostIntfs( chain )
                                : addServiceSet( chain );
   }
   addRules( chain, wanted );
   addBinding( chain, wanted );
   addArp( chain );
   addStatus( chain );
   return chain;
}

std::optional< VlanId > PolicyFlow::vlanOf( Vxlan::VniOrNone vni ) const {
   auto const key = convertVniToVniExt( vni );
   return agent_->vlanForVniHas( key ) ? std::optional( agent_->vlanForVni( key ) ) : std::nullopt;
}

Kel::Ptr< Bridging::Input::SwitchIntfConfig const > PolicyFlow::portOf( IntfId intf ) const {
   return em_.entity< Bridging::SwitchIntfConfigDir >( Catalog::pathOf( "switchIntfConfigDir" ) )
      ->switchIntfConfig( intf );
}

bool PolicyFlow::isNative( IntfId intf, VlanId vlan ) const {
   auto const port = portOf( intf );
   return port && port->trunkNativeVlan() == vlan;
}

bool PolicyFlow::addFlow( Chain & chain ) const {
   if ( !config_ ) {
      chain.missing( "flow", "the policy has no such flow: what follows is left over", policyPath );
      return false;
   }
   Vxlan::VniOrNone const match = config_->match.vni;
   Vxlan::VniOrNone const action = config_->action.vni;
   if ( match.isNone() || action.isNone() ) {
      chain.rejected( "flow", std::string( "the flow has no " ) +
                                 ( match.isNone() ? "match VNI" : "action VNI" ) );
   } else {
      chain.good( "flow",
                  ( isIngress() ? "where frames enter, VNI " : "where frames leave, VNI " ) +
                     std::to_string( match.value() ) + " to VNI " +
                     std::to_string( action.value() ) );
   }
   if ( !info_ ) {
      chain.missing( "read", "the agent has not read the flow" );
   } else if ( info_->flowConfig() != *config_ ) {
      chain.missing( "read", "the agent acts on an older form of the flow" );
   } else {
      chain.good( "read", "the agent acts on the flow as it is configured" );
   }
   return true;
}

void PolicyFlow::addVni( Chain & chain, char const * name, Vxlan::VniOrNone vni ) const {
   if ( vni.isNone() ) {
      return;
   }
   // Only a flow that catches hosts is held back until both its VNIs have a VLAN.
   if ( vni.value() == 0 && !isHostIngress() ) {
      chain.note( name, "VNI 0 asks for no VLAN" );
      return;
   }
   std::string const words = "VNI " + std::to_string( vni.value() ) +
                             ( vni == fragment_->originalVni()  ? " (original)"
                               : vni == fragment_->serviceVni() ? " (service)"
                                                                : "" );
   if ( auto const vlan = vlanOf( vni ) ) {
      chain.good( name, words + " is VLAN " + std::to_string( vlan->value() ) );
   } else if ( !isOfFragment( vni ) ) {
      chain.missing( name, notOfFragment( vni ), policyPath );
   } else if ( !em_.entity< Vxlan::VniSviConfig >( Catalog::pathOf( "vniSviConfig" ) )
                   ->vniSviInfoHas( convertVniToVniExt( vni ) ) ) {
      chain.missing( name, words + " has no VLAN: the agent has not asked for it" );
   } else {
      chain.missing( name,
                     vniWaits( em_, words + " has no VLAN: it is asked for, ", vni.value() ) );
   }
}

std::string PolicyFlow::notOfFragment( Vxlan::VniOrNone vni ) const {
   return "VNI " + std::to_string( vni.value() ) + " is neither the fragment's original VNI (" +
          vniWord( fragment_->originalVni() ) + ") nor its service VNI (" +
          vniWord( fragment_->serviceVni() ) + ")";
}

std::string PolicyFlow::whyNotTold( Vxlan::VniOrNone vni ) const {
   if ( vni.isNone() || !vlanOf( vni ) ) {
      return "";
   }
   if ( !isOfFragment( vni ) ) {
      return ": " + notOfFragment( vni ) + ", so the fragment isn't told of its VLAN";
   }
   std::vector< std::string > others;
   for ( auto const & other : policy_->policyFragment() ) {
      if ( other.key != place_.place &&
           ( other.value->originalVni() == vni || other.value->serviceVni() == vni ) ) {
         others.push_back( other.key.stringValue() );
      }
   }
   return others.empty()
             ? ""
             : ": VNI " + std::to_string( vni.value() ) + " is also that of " + joined( others ) +
                  ", and only the fragment that took it last is told of its VLAN";
}

void PolicyFlow::addStatus( Chain & chain ) const {
   auto const status =
      em_.entity< Qor::V1::QorPolicyFragmentStatus >( Catalog::pathOf( "polFragStatus" ) )
         ->policyFragment( place_.place );
   if ( !status || !status->flowStatusHas( place_.flow ) ) {
      chain.missing( "status", "the agent reports no state" );
      return;
   }
   auto const row = status->flowStatus( place_.flow );
   std::string const details = detailsOf( em_, place_.place, place_.flow, row.flowStateDetails );
   std::string const words = "the agent reports it as " + stateWord( row.flowState ) +
                             ( details.empty() ? "" : ": " + details );
   if ( row.flowState == Qor::FlowState::flowProgrammed ) {
      chain.good( "status", words );
   } else if ( row.flowState == Qor::FlowState::flowRejected ) {
      chain.rejected( "status", words );
   } else {
      chain.missing( "status", words );
   }
}

Chain policyChain( Corestore::EntityManager const & em, FlowPlace const & flow ) {
   return PolicyFlow( em, flow ).take();
}

}  // namespace Views
