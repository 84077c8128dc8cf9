// Rule publication: the bookkeeping between the rules that a flow wants and the flow table.

#include "platform/flashlog/DualLog.h"
#include "qorclient/agent/QorClientUtils.h"
#include "qorclient/datapath/KelPolicyFragment.h"

KEL_TRACE_UNIT( "QorClientDatapathV1", "QorClient" )

using QorClientUtils::convertVniToVniExt;

namespace QorClient::DatapathV1 {

namespace {

/** What is built while something is missing. */
OpenFlowTable::Match const noMatch{};
OpenFlowTable::Actions const noActions{};

bool isRuleVlan( std::uint16_t vlan ) {
   return vlan >= Bridging::VlanIdRange::min && vlan <= Bridging::VlanIdRange::max;
}

}  // namespace

void KelPolicyFragment::publishFlowRule( FlowHandle & flow, QorClient::RuleKey const & ruleKey ) {
   KEL_TRACE_SCOPE( " inIntf:", ruleKey.inIntf, " outIntf:", ruleKey.outIntf,
                    " matchVlanTag: ", ruleKey.matchVlanTag );
   if ( !initialized() || flowInCleanupHas( flow.name ) ) {
      return;
   }
   lookAgain( flow );
   // What is told on the way may have the flow looked up again.
   auto const fragment = flow.fragInfo;
   auto const info = flow.info;
   if ( !info ) {
      KEL_TRACE_INFO( "Flow ", flow.name, " has not been read yet, bailing out" );
      return;
   }
   bool const isHostEgress = isHostEgressFlow( *info );
   // All that is read of it is read before anything is written.
   Qor::V1::PolicyFlowInfo const & config = configOf( flow );
   Vxlan::VniExtOrNone const matchVni = convertVniToVniExt( config.match.vni );
   Vxlan::VniExtOrNone const actionVni = convertVniToVniExt( config.action.vni );
   OpenFlowTable::FlowEntry const entry{ .match = buildMatch( config, ruleKey ),
                                         .actions = buildAction( config, ruleKey, isHostEgress ),
                                         .priority = OpenFlowTable::Priority( 0 ),
                                         .tableType = getTableType( config ) };
   if ( entry.actions == noActions || entry.match == noMatch ) {
      KEL_TRACE_INFO( "Match and/or Action don't have complete information" );
      return;
   }
   auto const old = info->ruleInfo( ruleKey );
   Kel::String const ruleName = ruleNameOf( *info, ruleKey, old );
   auto const table = pfHwConfig();
   if ( table->flowEntryHas( ruleName, entry.match, entry.actions ) ) {
      KEL_TRACE_INFO( "Identical rule", ruleName, "Match: ", entry.match,
                      " action: ", entry.actions );
      return;
   }
   auto const status = agentStatus();
   std::uint32_t refCount = 1;
   if ( old && old->published() ) {
      refCount = old->refCount();
      revokePublishedFlowRule( flow, ruleKey );
   }
   auto rule = info->ruleInfoIs( ruleKey );
   rule->ruleNameIs( ruleName );
   status->flowNameForRuleNameIs( ruleName, flow.name );
   status->fragmentNameForRuleNameIs( ruleName, fragmentName() );
   KEL_TRACE_INFO( "Adding new rule ", ruleName, " to the flow ", flow.name,
                   " and configuring pinflow rule ", ruleName );
   updateFlowState( flow, Qor::FlowState::flowWaiting );
   updateRuleState( flow, ruleName, Qor::FlowState::flowWaiting );
   table->flowEntryIs( ruleName, entry );
   rule->publishedIs( true );
   rule->refCountIs( refCount );
   // What the rule was built with tells later whether a VLAN has changed.
   if ( isRuleVlan( entry.match.vlanId ) ) {
      info->matchVlanIs( Bridging::VlanId( entry.match.vlanId ) );
      fragment->vlanForVniIs( matchVni, Bridging::VlanId( entry.match.vlanId ) );
   }
   if ( isRuleVlan( entry.actions.vlanId ) ) {
      info->rewriteVlanIs( Bridging::VlanId( entry.actions.vlanId ) );
      fragment->vlanForVniIs( actionVni, Bridging::VlanId( entry.actions.vlanId ) );
   }
   if ( !isHostEgress ) {
      configurePlatformForQor( flow.name );
   }
}

void KelPolicyFragment::revokePublishedFlowRule( FlowHandle & flow,
                                                 QorClient::RuleKey const & ruleKey ) {
   KEL_TRACE_SCOPE( " flow: ", flow.name );
   if ( !initialized() ) {
      return;
   }
   lookAgain( flow );
   auto const info = flow.info;
   if ( !info ) {
      KEL_TRACE_INFO( "Flow ", flow.name, " has not been read yet, bailing out" );
      return;
   }
   auto const rule = info->ruleInfo( ruleKey );
   if ( !rule ) {
      return;
   }
   Kel::String const ruleName = ruleNameOf( *info, ruleKey, rule );
   auto const status = agentStatus();
   if ( rule->published() ) {
      KEL_TRACE_INFO( "Un-Configuring pinflow rule ", ruleName );
      pfHwConfig()->flowEntryDel( ruleName );
      if ( !isHostEgressFlow( *info ) ) {
         unconfigurePlatformForQor( flow.name );
      }
   }
   info->ruleInfoDel( ruleKey );
   status->flowNameForRuleNameDel( ruleName );
   status->fragmentNameForRuleNameDel( ruleName );
   status->ruleStateForRuleNameDel( ruleName );
}

void KelPolicyFragment::revokePublishedFlow( FlowHandle & flow ) {
   KEL_TRACE_SCOPE( " flow: ", flow.name );
   lookAgain( flow );
   if ( auto const info = flow.info ) {
      for ( QorClient::RuleKey const & ruleKey : info->ruleInfoKeys() ) {
         revokePublishedFlowRule( flow, ruleKey );
      }
      updateFlowState( flow, Qor::FlowState::flowInitial );
   }
}

void KelPolicyFragment::revokePublishedFlow( Kel::String const & flowName ) {
   FlowHandle flow{ flowName };
   revokePublishedFlow( flow );
}

bool KelPolicyFragment::isFlowPublished( FlowHandle const & flow ) const {
   if ( flow.info ) {
      for ( auto const & [key, rule] : flow.info->ruleInfo() ) {
         if ( rule->published() ) {
            return true;
         }
      }
   }
   return false;
}

bool KelPolicyFragment::isFlowPublished( Kel::String const & flowName ) const {
   FlowHandle flow{ flowName };
   lookAgain( flow );
   return isFlowPublished( flow );
}

void KelPolicyFragment::removeFlowWithItsDependents( FlowHandle & flow ) {
   KEL_TRACE_SCOPE( " flow: ", flow.name );
   lookAgain( flow );
   if ( auto const info = flow.info ) {
      if ( isHostInterceptFlow( *info ) ) {
         for ( auto const & [host, intf] : info->boundHost() ) {
            removeAllHostEgressFlowsFromIntf( intf );
         }
      }
      revokePublishedFlow( flow );
   }
}

void KelPolicyFragment::removeFlowWithItsDependents( Kel::String const & flowName ) {
   FlowHandle flow{ flowName };
   removeFlowWithItsDependents( flow );
}

void KelPolicyFragment::doFlowCleanup( FlowHandle & flow ) {
   KEL_TRACE_SCOPE( " flow: ", flow.name );
   if ( !initialized() ) {
      return;
   }
   // Unbinding the flow's VNIs may take a VLAN away and bring it back, and so have all flows
   // installed again while this one is half gone.
   flowInCleanupIs( flow.name );
   removeFlowWithItsDependents( flow );
   cleanupBoundHostForFlow( flow );
   unbindVnisForFlow( flow );
   hostEgressFlowDel( flow.name );
   fragInfo()->flowInfoDel( flow.name );
   flowInCleanupDel( flow.name );
}

}  // namespace QorClient::DatapathV1
