// Flow state: what is reported to the controller, and in which words.

#include <array>
#include <optional>
#include <string>
#include <string_view>

#include "platform/flashlog/DualLog.h"
#include "qorclient/datapath/KelPolicyFragment.h"

KEL_TRACE_UNIT( "QorClientDatapathV1", "QorClient" )

namespace QorClient::DatapathV1 {

using Qor::FlowState;

namespace {

/** Items of a list in words, few and fixed. */
class Conditions {
 public:
   void add( std::string_view text ) { texts_[count_++] = text; }
   /** The items joined by ", " behind an opening; empty when there are none. */
   Kel::String joined( char const * opening ) const {
      if ( count_ == 0 ) {
         return {};
      }
      std::string text;
      text.reserve( 512 );
      text += opening;
      for ( std::size_t i = 0; i != count_; ++i ) {
         text += i == 0 ? "" : ", ";
         text += texts_[i];
      }
      return text;
   }

 private:
   std::array< std::string_view, 8 > texts_{};
   std::size_t count_ = 0;
};

constexpr char const * waitingFor = "Waiting for: ";

}  // namespace

Kel::String KelPolicyFragment::getFlowWaitingDetails( Kel::String const & flowName ) const {
   return getFlowWaitingDetails( policyFragment()->flow( flowName ), *readFlowInfo( flowName ) );
}

Kel::String KelPolicyFragment::getFlowWaitingDetails( Qor::V1::PolicyFlowInfo const & flowConfig,
                                                      QorClient::FlowInfo const & info ) const {
   if ( !initialized() ) {
      return {};
   }
   Vxlan::VniOrNone const originalVni = policyFragment()->originalVni();
   Vxlan::VniOrNone const serviceVni = policyFragment()->serviceVni();
   auto vniCondition = [&]( Vxlan::VniOrNone vni, char const * neither ) {
      return vni == originalVni  ? "Original VNI to be mapped to a VLAN"
             : vni == serviceVni ? "Service VNI to be mapped to a VLAN"
                                 : neither;
   };
   Conditions open;
   if ( !isVniBound( flowConfig.match.vni ) ) {
      open.add( vniCondition( flowConfig.match.vni,
                              "Match VNI programmed (or to be programmed) and original/service VNI "
                              "to be the same" ) );
   }
   if ( !isVniBound( flowConfig.action.vni ) ) {
      open.add( vniCondition( flowConfig.action.vni,
                              "Action VNI programmed (or to be programmed) and original/service "
                              "VNI to be the same" ) );
   }
   if ( isServiceFlow( info ) ) {
      auto const set = policyFragment()->serviceIntfSet( flowConfig.serviceIntfKey );
      if ( !set || set->intfCount() == 0 ) {
         open.add( "Service Interfaces to become available" );
      }
   }
   if ( isHostInterceptFlow( info ) && !areHostsWarm( info ) ) {
      open.add( "Host to be learnt" );
   }
   if ( isHostEgressFlow( info ) && !areHostsWarmForAnyFlow() ) {
      open.add( "Host to be learnt" );
   }
   if ( info.ruleInfoCount() == 0 ) {
      open.add( "PinFlow rule" );
   }
   for ( auto const & [key, rule] : info.ruleInfo() ) {
      if ( !pfHwStatus()->flowStatsHas( rule->ruleName() ) ) {
         open.add( "PinFlow status" );
         break;
      }
   }
   return open.joined( waitingFor );
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

namespace {

/** What stands of a flow that a state is proposed for. */
struct ProposedFlow {
   Kel::Ptr< QorClient::FlowInfo > info;
   Qor::V1::PolicyFlowInfo config;
   bool rejected;
};

/** Nothing for a flow of which there is nothing to report. */
std::optional< ProposedFlow > proposedFlow( KelPolicyFragment const & polFrag,
                                            Kel::String const & flowName, FlowState flowState ) {
   if ( !polFrag.initialized() ) {
      return {};
   }
   auto const fragment = polFrag.policyFragment();
   auto const info = polFrag.flowInfo( flowName );
   if ( !info || !fragment->flowHas( flowName ) || !polFrag.fragmentStatus() ) {
      return {};
   }
   ProposedFlow flow{ info, fragment->flow( flowName ), false };
   flow.rejected = flowState == FlowState::flowRejected || flow.config.match.vni.isNone() ||
                   flow.config.action.vni.isNone();
   return flow;
}

}  // namespace

bool calculateQorFlowState( Kel::Ptr< KelPolicyFragment const > const & polFrag,
                            Kel::String const & flowName, FlowState & flowState,
                            Kel::String & details ) {
   auto const flow = proposedFlow( *polFrag, flowName, flowState );
   if ( !flow ) {
      return false;
   }
   if ( flow->rejected ) {
      FlowState const proposed = flowState;
      flowState = FlowState::flowRejected;
      details = polFrag->getFlowRejectedDetails( flowName );
      KEL_TRACE_INFO( " old flowState: ", proposed, " new flowState: ", flowState,
                      " flowStateDetails: ", details );
      return true;
   }
   details = polFrag->getFlowWaitingDetails( flow->config, *flow->info );
   if ( flowState != FlowState::flowInitial || details.view().starts_with( "Waiting" ) ) {
      return true;
   }
   // Nothing is open: the last reported state stays.
   KEL_TRACE_INFO( " flowState: ", flowState, details, "; returning false" );
   return false;
}

void KelPolicyFragment::updateRuleState( Kel::String const & flowName, Kel::String const & ruleName,
                                         FlowState flowState ) {
   KEL_TRACE_SCOPE( " flow: ", flowName, " rule: ", ruleName );
   // A rule has no words, so what its flow waits for matters only to a proposed 0.
   auto const flow = proposedFlow( *this, flowName, flowState );
   bool const stands = flow && !flow->rejected && flowState != FlowState::flowInitial;
   Kel::String details;
   if ( stands || calculateQorFlowState( this, flowName, flowState, details ) ) {
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
   KEL_TRACE_SCOPE( " flow: ", flowName );
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
   KEL_TRACE_SCOPE( " fragment: ", fragmentName() );
   if ( auto info = fragInfo() ) {
      for ( Kel::String const & flowName : info->flowInfoKeys() ) {
         updateFlowState( flowName, flowState );
      }
   }
}

}  // namespace QorClient::DatapathV1
