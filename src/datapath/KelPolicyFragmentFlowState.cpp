// Flow state: what is reported to the controller, and in which words.

#include <algorithm>
#include <array>
#include <span>
#include <string>

#include "datapath/KelPolicyFragment.h"
#include "datapath/PolicyFragmentSm.h"
#include "platform/flashlog/DualLog.h"

KEL_TRACE_UNIT( "QorClientDatapathV1", "QorClient" )

namespace QorClient::DatapathV1 {

using Qor::FlowState;

namespace {

/** Items of a list in words, few and fixed. */
class Conditions {
 public:
   void add( char const * text ) { texts_[count_++] = text; }
   /** The items joined by ", " behind an opening; empty when there are none. */
   Kel::String joined( char const * opening ) const {
      if ( count_ == 0 ) {
         return {};
      }
      std::string text( opening );
      for ( std::size_t i = 0; i != count_; ++i ) {
         text += i == 0 ? "" : ", ";
         text += texts_[i];
      }
      return text;
   }

 private:
   std::array< char const *, 8 > texts_{};
   std::size_t count_ = 0;
};

constexpr char const * waitingFor = "Waiting for: ";

}  // namespace

Kel::String KelPolicyFragment::getFlowWaitingDetails( Kel::String const & flowName ) const {
   Qor::V1::PolicyFlowInfo const flowConfig = policyFragment()->flow( flowName );
   Vxlan::VniOrNone const originalVni = policyFragment()->originalVni();
   Vxlan::VniOrNone const serviceVni = policyFragment()->serviceVni();
   auto vniCondition = [&]( Vxlan::VniOrNone vni, char const * neither ) {
      return vni == originalVni  ? "Original VNI to be mapped to a VLAN"
             : vni == serviceVni ? "Service VNI to be mapped to a VLAN"
                                 : neither;
   };
   Conditions open;
   if ( !isMatchVniBound( flowName ) ) {
      open.add( vniCondition( flowConfig.match.vni,
                              "Match VNI programmed (or to be programmed) and original/service VNI "
                              "to be the same" ) );
   }
   if ( !isActionVniBound( flowName ) ) {
      open.add( vniCondition( flowConfig.action.vni,
                              "Action VNI programmed (or to be programmed) and original/service "
                              "VNI to be the same" ) );
   }
   if ( isServiceFlow( flowName ) ) {
      auto const set = policyFragment()->serviceIntfSet( flowConfig.serviceIntfKey );
      if ( !set || set->intfCount() == 0 ) {
         open.add( "Service Interfaces to become available" );
      }
   }
   if ( isHostInterceptFlow( flowName ) && !areHostsWarm( flowName ) ) {
      open.add( "Host to be learnt" );
   }
   if ( isHostEgressFlow( flowName ) && !areHostsWarmForAnyFlow() ) {
      open.add( "Host to be learnt" );
   }
   auto const info = flowInfo( flowName );
   if ( info->ruleInfoCount() == 0 ) {
      open.add( "PinFlow rule" );
   }
   for ( auto const & [key, rule] : info->ruleInfo() ) {
      if ( !pfHwStatus()->flowStatsHas( rule->ruleName() ) ) {
         open.add( "PinFlow status" );
         break;
      }
   }
   return initialized() ? open.joined( waitingFor ) : Kel::String();
}

Kel::String KelPolicyFragment::getFlowRejectedDetails( Kel::String const & flowName ) const {
   KEL_TRACE_INFO( " Flow ", flowName );
   Qor::V1::PolicyFlowInfo const flowConfig = policyFragment()->flow( flowName );
   Conditions invalid;
   if ( flowConfig.match.vni.isNone() ) {
      invalid.add( "Match VNI invalid" );
   }
   if ( flowConfig.action.vni.isNone() ) {
      invalid.add( "Action VNI invalid" );
   }
   // Rejected by the hardware alone, there is nothing to say behind the opening.
   Kel::String const reasons = invalid.joined( "Rejected because: " );
   return reasons.empty() ? Kel::String( "Rejected because: " ) : reasons;
}

bool calculateQorFlowState( Kel::Ptr< KelPolicyFragment const > const & polFrag,
                            Kel::String const & flowName, FlowState & flowState,
                            Kel::String & details ) {
   if ( !polFrag->initialized() ) {
      return false;
   }
   if ( !polFrag->policyFragment()->flowHas( flowName ) || !polFrag->fragmentStatus() ||
        !polFrag->flowInfo( flowName ) ) {
      return false;
   }
   Qor::V1::PolicyFlowInfo const flowConfig = polFrag->policyFragment()->flow( flowName );
   if ( flowState == FlowState::flowRejected || flowConfig.match.vni.isNone() ||
        flowConfig.action.vni.isNone() ) {
      FlowState const proposed = flowState;
      flowState = FlowState::flowRejected;
      details = polFrag->getFlowRejectedDetails( flowName );
      KEL_TRACE_INFO( " old flowState: ", proposed, " new flowState: ", flowState,
                      " flowStateDetails: ", details );
      return true;
   }
   details = polFrag->getFlowWaitingDetails( flowName );
   if ( flowState != FlowState::flowInitial || details.view().starts_with( "Waiting" ) ) {
      return true;
   }
   // Nothing is open: the last reported state stays.
   KEL_TRACE_INFO( " flowState: ", flowState, details, "; returning false" );
   return false;
}

void KelPolicyFragment::updateRuleState( Kel::String const & flowName, Kel::String const & ruleName,
                                         FlowState flowState ) {
   Kel::String details;
   if ( calculateQorFlowState( this, flowName, flowState, details ) ) {
      KEL_TRACE_INFO( " set flow rule state" );
      setFlowRuleState( flowName, ruleName, flowState );
      agentStatus()->ruleStateForRuleNameIs( ruleName, static_cast< std::uint32_t >( flowState ) );
   }
}

void KelPolicyFragment::setFlowRuleState( Kel::String const & flowName,
                                          Kel::String const & ruleName, FlowState flowState ) {
   if ( auto info = flowInfo( flowName ) ) {
      for ( auto const & [key, rule] : info->ruleInfo() ) {
         if ( rule->ruleName() == ruleName ) {
            rule->ruleStateIs( static_cast< std::uint32_t >( flowState ) );
            return;
         }
      }
   }
}

void KelPolicyFragment::updateFlowState( Kel::String const & flowName, FlowState flowState ) {
   Qor::V1::PolicyFlowStatus status;
   if ( !calculateQorFlowState( this, flowName, flowState, status.flowStateDetails ) ) {
      return;
   }
   KEL_TRACE_INFO( " flowState: ", flowState );
   status.flowName = flowName;
   status.flowState = flowState;
   if ( flowState == FlowState::flowProgrammed && !isServiceFlow( flowName ) ) {
      Bridging::MacVlanPair const host = getHostFromFlowName( flowName );
      status.hostMac = host.mac;
      status.hostMoveCount = getHostMoveCount( host );
   }
   fragmentStatus()->flowStatusIs( status );
}

void KelPolicyFragment::updateFlowStateAll( FlowState flowState ) {
   if ( auto info = fragInfo() ) {
      for ( Kel::String const & flowName : info->flowInfoKeys() ) {
         updateFlowState( flowName, flowState );
      }
   }
}

}  // namespace QorClient::DatapathV1
