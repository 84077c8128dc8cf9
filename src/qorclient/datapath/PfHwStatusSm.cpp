#include "qorclient/datapath/PfHwStatusSm.h"

#include "platform/flashlog/DualLog.h"
#include "qorclient/datapath/PolicyFragmentSm.h"

KEL_TRACE_UNIT( "QorClientDatapathV1", "QorClient" )

KEL_MACHINE_TYPE( QorClient::DatapathV1::KelFlowStats )
KEL_MACHINE_TYPE( QorClient::DatapathV1::PfHwStatusSm )

namespace QorClient::DatapathV1 {

using OpenFlowTable::FlowStatus;
using Qor::FlowState;

bool KelFlowStats::isFlowRejected( FlowStatus flowStatus ) {
   switch ( flowStatus ) {
      case FlowStatus::tableFull:
      case FlowStatus::refused6:
      case FlowStatus::refused7:
      case FlowStatus::refused10:
         return true;
      default:
         return false;
   }
}

Kel::Ptr< QorClient::FlowInfo > KelFlowStats::flowInfo( Kel::String const & fragmentName,
                                                        Kel::String const & flowName ) const {
   auto const info = pfHwStatusSm()->agentStatus()->policyFragmentInfo( fragmentName );
   return info ? info->flowInfo( flowName ) : nullptr;
}

bool KelFlowStats::isAnyFlowRuleProgrammed( Kel::String const & fragmentName,
                                            Kel::String const & flowName ) const {
   if ( auto const info = flowInfo( fragmentName, flowName ) ) {
      for ( auto const & [key, rule] : info->ruleInfo() ) {
         auto const row = pfHwStatusSm()->pfHwStatus()->flowStats( rule->ruleName() );
         if ( row && row->status() == FlowStatus::active ) {
            return true;
         }
      }
   }
   return false;
}

bool KelFlowStats::areAllFlowRulesRejected( Kel::String const & fragmentName,
                                            Kel::String const & flowName ) const {
   if ( auto const info = flowInfo( fragmentName, flowName ) ) {
      for ( auto const & [key, rule] : info->ruleInfo() ) {
         auto const row = pfHwStatusSm()->pfHwStatus()->flowStats( rule->ruleName() );
         if ( row && !isFlowRejected( row->status() ) ) {
            return false;
         }
      }
   }
   return true;
}

Kel::Ptr< KelPolicyFragment > KelFlowStats::fragment( Kel::String const & fragmentName ) const {
   auto found = pfHwStatusSm()->parent()->policyFragment( fragmentName );
   if ( !found ) {
      KEL_TRACE_INFO( "Policy does not exist. Return" );
   }
   return found;
}

void KelFlowStats::updateRuleState( Kel::String const & fragmentName, Kel::String const & flowName,
                                    Kel::String const & ruleName, FlowState flowState ) {
   KEL_TRACE_SCOPE( " fragment: ", fragmentName, " flow: ", flowName, " rule: ", ruleName );
   if ( auto const found = fragment( fragmentName ) ) {
      found->updateRuleState( flowName, ruleName, flowState );
   }
}

void KelFlowStats::updateFlowState( Kel::String const & fragmentName, Kel::String const & flowName,
                                    FlowState flowState ) {
   KEL_TRACE_SCOPE( " fragment: ", fragmentName, " flow: ", flowName );
   if ( auto const found = fragment( fragmentName ) ) {
      found->updateFlowState( flowName, flowState );
   }
}

void KelFlowStats::handleInitialized() {
   KEL_TRACE_SCOPE( " name: ", name() );
   // A rule that was programmed before this watcher appeared counts at once.
   initializedIs( true );
   handleStatus();
}

void KelFlowStats::handleStatus() {
   Kel::String const ruleName = name();
   FlowStatus const status = flowStats()->status();
   KEL_TRACE_SCOPE( ruleName, " status: ", status );
   auto const agentStatus = pfHwStatusSm()->agentStatus();
   if ( !pfHwStatusSm()->isFlowRuleInteresting( ruleName ) ) {
      return;
   }
   Kel::String const fragmentName = agentStatus->fragmentNameForRuleName( ruleName );
   Kel::String const flowName = agentStatus->flowNameForRuleName( ruleName );
   if ( status == FlowStatus::active ) {
      KEL_TRACE_INFO( "PinFlow Rule ", ruleName, " for QOR Flow ", flowName, " for Policy ",
                      fragmentName, " programmed in hardware" );
      updateFlowState( fragmentName, flowName, FlowState::flowProgrammed );
      updateRuleState( fragmentName, flowName, ruleName, FlowState::flowProgrammed );
      return;
   }
   if ( isFlowRejected( status ) ) {
      KEL_TRACE_INFO( "PinFlow Rule ", ruleName, " for QOR Flow ", flowName, " for Policy ",
                      fragmentName, " rejected in hardware" );
      updateRuleState( fragmentName, flowName, ruleName, FlowState::flowRejected );
      if ( areAllFlowRulesRejected( fragmentName, flowName ) ) {
         KEL_TRACE_INFO( "QOR Flow ", flowName, " for Policy ", fragmentName, " rejected" );
         updateFlowState( fragmentName, flowName, FlowState::flowRejected );
         return;
      }
   } else {
      updateRuleState( fragmentName, flowName, ruleName, FlowState::flowWaiting );
   }
   updateFlowState( fragmentName, flowName,
                    isAnyFlowRuleProgrammed( fragmentName, flowName ) ? FlowState::flowProgrammed
                                                                      : FlowState::flowWaiting );
}

void KelFlowStats::doCleanup() {
   Kel::String const ruleName = name();
   KEL_TRACE_SCOPE( ruleName );
   initializedIs( false );
   if ( !pfHwStatusSm()->isFlowRuleInteresting( ruleName ) ) {
      return;
   }
   auto const agentStatus = pfHwStatusSm()->agentStatus();
   Kel::String const fragmentName = agentStatus->fragmentNameForRuleName( ruleName );
   Kel::String const flowName = agentStatus->flowNameForRuleName( ruleName );
   auto const fragmentStatus = pfHwStatusSm()->polFragStatus()->policyFragment( fragmentName );
   if ( !fragmentStatus ) {
      return;
   }
   FlowState const reported = fragmentStatus->flowStatus( flowName ).flowState;
   if ( reported == FlowState::flowInitial || reported == FlowState::flowRejected ) {
      return;
   }
   auto const info = flowInfo( fragmentName, flowName );
   if ( !info || info->ruleInfoCount() == 0 ) {
      updateFlowState( fragmentName, flowName, FlowState::flowInitial );
      return;
   }
   FlowState const state =
      isAnyFlowRuleProgrammed( fragmentName, flowName )   ? FlowState::flowProgrammed
      : areAllFlowRulesRejected( fragmentName, flowName ) ? FlowState::flowRejected
                                                          : FlowState::flowWaiting;
   updateFlowState( fragmentName, flowName, state );
   updateRuleState( fragmentName, flowName, ruleName, FlowState::flowWaiting );
}

bool PfHwStatusSm::isFlowRuleInteresting( Kel::String const & ruleName ) const {
   return agentStatus()->flowNameForRuleNameHas( ruleName ) ||
          agentStatus()->fragmentNameForRuleNameHas( ruleName );
}

void PfHwStatusSm::createNestedReactors() {
   for ( auto const & [name, row] : pfHwStatus()->flowStats() ) {
      flowStatsIs( row );
   }
}

void PfHwStatusSm::handleFlowStats( Kel::Name const & name ) {
   KEL_TRACE_SCOPE( " name: ", name );
   if ( auto const row = pfHwStatus()->flowStats( name ) ) {
      flowStatsIs( row );
   } else if ( auto const gone = flowStatsDel( name ) ) {
      gone->doCleanup();
   }
}

void PfHwStatusSm::handleInitialized() {
   KEL_TRACE_SCOPE();
   initializedIs( true );
   for ( auto const & [fragmentName, fragment] : parent()->policyFragment() ) {
      auto const fragInfo = agentStatus()->policyFragmentInfo( fragmentName );
      if ( !fragInfo ) {
         continue;
      }
      for ( auto const & [flowName, flow] : fragInfo->flowInfo() ) {
         for ( auto const & [key, rule] : flow->ruleInfo() ) {
            Kel::String const ruleName = rule->ruleName();
            if ( !parent()->pfHwConfig()->flowEntryHas( ruleName ) ) {
               KEL_TRACE_INFO( "No rule for ", ruleName );
            }
            if ( !pfHwStatus()->flowStatsHas( ruleName ) ) {
               KEL_TRACE_INFO( "No rule status for ", ruleName );
            }
         }
         fragment->updateFlowState( flowName, FlowState::flowInitial );
      }
   }
}

void PfHwStatusSm::doCleanup() {
   KEL_TRACE_SCOPE();
   initializedIs( false );
   for ( auto const & [name, watcher] : flowStats() ) {
      flowStatsDel( name );
   }
}

}  // namespace QorClient::DatapathV1
