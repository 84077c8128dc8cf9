// Rule publication: the bookkeeping between the rules that a flow wants and the flow table.

#include "platform/flashlog/DualLog.h"
#include "qorclient/agent/QorClientUtils.h"
#include "qorclient/datapath/KelPolicyFragment.h"

KEL_TRACE_UNIT( "QorClientDatapathV1", "QorClient" )

using QorClientUtils::convertVniToVniExt;

namespace QorClient::DatapathV1 {

namespace {

bool isRuleVlan( std::uint16_t vlan ) {
   return vlan >= 1 && vlan <= 4094;
}

}  // namespace

Kel::String KelPolicyFragment::arpRuleName( Kel::String const & fragmentName ) {
   return Kel::String::concat( { fragmentName, "-arp" } );
}

void KelPolicyFragment::publishFlowRule( Kel::String const & flowName,
                                         QorClient::RuleKey const & ruleKey ) {
   KEL_TRACE_SCOPE( " inIntf:", ruleKey.inIntf, " outIntf:", ruleKey.outIntf,
                    " matchVlanTag: ", ruleKey.matchVlanTag );
   if ( !initialized() || flowInCleanupHas( flowName ) ) {
      return;
   }
   auto const fragment = fragInfo();
   auto const info = fragment ? fragment->flowInfo( flowName ) : nullptr;
   if ( !info ) {
      KEL_TRACE_INFO( "Flow ", flowName, " has not been read yet, bailing out" );
      return;
   }
   bool const isHostEgress = isHostEgressFlow( *info );
   Qor::V1::PolicyFlowInfo const flowConfig = policyFragment()->flow( flowName );
   OpenFlowTable::Match const match = buildMatch( flowConfig, ruleKey );
   OpenFlowTable::Actions const actions = buildAction( flowConfig, ruleKey, isHostEgress );
   OpenFlowTable::TableType const tableType = getTableType( flowConfig );
   if ( actions == OpenFlowTable::Actions() || match == OpenFlowTable::Match() ) {
      KEL_TRACE_INFO( "Match and/or Action don't have complete information" );
      return;
   }
   Kel::String const ruleName = getFlowRuleName( *info, ruleKey );
   auto const table = pfHwConfig();
   auto const status = agentStatus();
   if ( table->flowEntryHas( ruleName ) ) {
      OpenFlowTable::FlowEntry const entry = table->flowEntry( ruleName );
      if ( entry.match == match && entry.actions == actions ) {
         KEL_TRACE_INFO( "Identical rule", ruleName, "Match: ", match, " action: ", actions );
         return;
      }
   }
   std::uint32_t refCount = 1;
   if ( auto old = info->ruleInfo( ruleKey ); old && old->published() ) {
      refCount = old->refCount();
      revokePublishedFlowRule( flowName, ruleKey );
   }
   auto rule = info->ruleInfoIs( ruleKey );
   rule->ruleNameIs( ruleName );
   status->flowNameForRuleNameIs( ruleName, flowName );
   status->fragmentNameForRuleNameIs( ruleName, fragmentName() );
   KEL_TRACE_INFO( "Adding new rule ", ruleName, " to the flow ", flowName,
                   " and configuring pinflow rule ", ruleName );
   updateFlowState( flowName, Qor::FlowState::flowWaiting );
   updateRuleState( flowName, ruleName, Qor::FlowState::flowWaiting );
   table->flowEntryIs( ruleName, match, actions, OpenFlowTable::Priority( 0 ),
                       OpenFlowTable::PriorityGroupType::normal, tableType, 0, 0.0, 0.0, false );
   rule->publishedIs( true );
   rule->refCountIs( refCount );
   // What the rule was built with tells later whether a VLAN has changed.
   if ( isRuleVlan( match.vlanId ) ) {
      info->matchVlanIs( Bridging::VlanId( match.vlanId ) );
      fragment->vlanForVniIs( convertVniToVniExt( flowConfig.match.vni ),
                              Bridging::VlanId( match.vlanId ) );
   }
   if ( isRuleVlan( actions.vlanId ) ) {
      info->rewriteVlanIs( Bridging::VlanId( actions.vlanId ) );
      fragment->vlanForVniIs( convertVniToVniExt( flowConfig.action.vni ),
                              Bridging::VlanId( actions.vlanId ) );
   }
   if ( !isHostEgress ) {
      configurePlatformForQor( flowName );
   }
}

void KelPolicyFragment::revokePublishedFlowRule( Kel::String const & flowName,
                                                 QorClient::RuleKey const & ruleKey ) {
   KEL_TRACE_SCOPE( " flow: ", flowName );
   if ( !initialized() ) {
      return;
   }
   auto info = flowInfo( flowName );
   if ( !info ) {
      KEL_TRACE_INFO( "Flow ", flowName, " has not been read yet, bailing out" );
      return;
   }
   auto const rule = info->ruleInfo( ruleKey );
   if ( !rule ) {
      return;
   }
   Kel::String const ruleName = getFlowRuleName( *info, ruleKey );
   auto const status = agentStatus();
   if ( rule->published() ) {
      KEL_TRACE_INFO( "Un-Configuring pinflow rule ", ruleName );
      pfHwConfig()->flowEntryDel( ruleName );
      if ( !isHostEgressFlow( *info ) ) {
         unconfigurePlatformForQor( flowName );
      }
   }
   info->ruleInfoDel( ruleKey );
   status->flowNameForRuleNameDel( ruleName );
   status->fragmentNameForRuleNameDel( ruleName );
   status->ruleStateForRuleNameDel( ruleName );
}

void KelPolicyFragment::revokePublishedFlow( Kel::String const & flowName ) {
   KEL_TRACE_SCOPE( " flow: ", flowName );
   if ( auto info = flowInfo( flowName ) ) {
      for ( QorClient::RuleKey const & ruleKey : info->ruleInfoKeys() ) {
         revokePublishedFlowRule( flowName, ruleKey );
      }
      updateFlowState( flowName, Qor::FlowState::flowInitial );
   }
}

bool KelPolicyFragment::isFlowPublished( Kel::String const & flowName ) const {
   if ( auto info = flowInfo( flowName ) ) {
      for ( auto const & [key, rule] : info->ruleInfo() ) {
         if ( rule->published() ) {
            return true;
         }
      }
   }
   return false;
}

void KelPolicyFragment::removeFlowWithItsDependents( Kel::String const & flowName ) {
   KEL_TRACE_SCOPE( " flow: ", flowName );
   if ( auto info = flowInfo( flowName ) ) {
      if ( isHostInterceptFlow( *info ) ) {
         for ( auto const & [host, intf] : info->boundHost() ) {
            removeAllHostEgressFlowsFromIntf( intf );
         }
      }
      revokePublishedFlow( flowName );
   }
}

void KelPolicyFragment::doFlowCleanup( Kel::String const & flowName ) {
   KEL_TRACE_SCOPE( " flow: ", flowName );
   if ( !initialized() ) {
      return;
   }
   // Unbinding the flow's VNIs may take a VLAN away and bring it back, and so have all flows
   // installed again while this one is half gone.
   flowInCleanupIs( flowName );
   removeFlowWithItsDependents( flowName );
   cleanupBoundHostForFlow( flowName );
   unbindVnisForFlow( flowName );
   hostEgressFlowDel( flowName );
   fragInfo()->flowInfoDel( flowName );
   flowInCleanupDel( flowName );
}

void KelPolicyFragment::configurePlatformForQor( Kel::String const & flowName ) {
   KEL_TRACE_SCOPE( " flow: ", flowName );
   if ( !ofHwStatus()->arpRuleRequired() ) {
      KEL_TRACE_INFO( "ARP forwarding rule not needed" );
      return;
   }
   if ( agentStatus()->platformFlowRefCountHas( fragmentName() ) ) {
      agentStatus()->platformFlowRefCountIs(
         fragmentName(), agentStatus()->platformFlowRefCount( fragmentName() ) + 1 );
   } else {
      Vxlan::VniOrNone const serviceVni = policyFragment()->serviceVni();
      if ( !agentStatus()->vlanForVniHas( convertVniToVniExt( serviceVni ) ) ) {
         // No count is taken; the rule's drop gives one back all the same, that of another rule if
         // one has been counted since.
         KEL_TRACE_INFO( fragmentName(), " will not be configured as serviceVni ", serviceVni,
                         " is not mapped to any vlan" );
         return;
      }
      forwardArpOnServiceVlan();
      agentStatus()->platformFlowRefCountIs( fragmentName(), 1 );
   }
}

void KelPolicyFragment::unconfigurePlatformForQor( Kel::String const & flowName ) {
   KEL_TRACE_SCOPE( " flow: ", flowName );
   if ( !ofHwStatus()->arpRuleRequired() ) {
      // A need that ends before the last rule goes leaves the ARP rule and its count as they stand:
      // it is looked at only as rules come and go.
      KEL_TRACE_INFO( "ARP forwarding rule not needed" );
      return;
   }
   if ( agentStatus()->platformFlowRefCountHas( fragmentName() ) ) {
      std::uint32_t const count = agentStatus()->platformFlowRefCount( fragmentName() ) - 1;
      agentStatus()->platformFlowRefCountIs( fragmentName(), count );
      if ( count == 0 ) {
         pfHwConfig()->flowEntryDel( arpRuleName( fragmentName() ) );
         agentStatus()->platformFlowRefCountDel( fragmentName() );
      }
   }
}

void KelPolicyFragment::forwardArpOnServiceVlan() {
   KEL_TRACE_SCOPE( " fragment: ", fragmentName() );
   OpenFlowTable::Match match;
   match.matchFieldSet = OpenFlowTable::MatchField::vlanId | OpenFlowTable::MatchField::arp;
   match.vlanId =
      agentStatus()->vlanForVni( convertVniToVniExt( policyFragment()->serviceVni() ) ).value();
   match.vlanIdMask = 4095;
   OpenFlowTable::Actions actions;
   actions.actionFieldSet = OpenFlowTable::ActionField::outputNormal;
   pfHwConfig()->flowEntryIs( arpRuleName( fragmentName() ), match, actions,
                              OpenFlowTable::Priority( 0 ),
                              OpenFlowTable::PriorityGroupType::normal,
                              OpenFlowTable::TableType::lookup, 0, 0.0, 0.0, false );
}

}  // namespace QorClient::DatapathV1
