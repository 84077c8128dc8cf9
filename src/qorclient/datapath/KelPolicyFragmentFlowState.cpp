// Flow state: what is reported to the controller, and in which words.

#include <array>
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
      std::array< char, 1024 > text;
      std::size_t size = 0;
      auto append = [&]( std::string_view part ) { size += part.copy( &text[size], part.size() ); };
      append( opening );
      for ( std::size_t i = 0; i != count_; ++i ) {
         append( i == 0 ? "" : ", " );
         append( texts_[i] );
      }
      return std::string_view( text.data(), size );
   }

 private:
   std::array< std::string_view, 8 > texts_{};
   std::size_t count_ = 0;
};

constexpr char const * waitingFor = "Waiting for: ";

}  // namespace

Kel::String KelPolicyFragment::getFlowWaitingDetails( Kel::String const & flowName ) const {
   FlowHandle flow = flowHandle( flowName );
   return getFlowWaitingDetails( configOf( flow ), readFlowInfo( flow ) );
}

Kel::String KelPolicyFragment::getFlowWaitingDetails( Qor::V1::PolicyFlowInfo const & flowConfig,
                                                      QorClient::FlowInfo const & info ) const {
   if ( !initialized() ) {
      return {};
   }
   auto const fragment = policyFragment();
   auto vniCondition = [&]( Vxlan::VniOrNone vni, char const * neither ) {
      return vni == fragment->originalVni()  ? "Original VNI to be mapped to a VLAN"
             : vni == fragment->serviceVni() ? "Service VNI to be mapped to a VLAN"
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
      auto const set = fragment->serviceIntfSet( flowConfig.serviceIntfKey );
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
   auto const hwStatus = pfHwStatus();
   for ( auto const & [key, rule] : info.ruleInfo() ) {
      if ( !hwStatus->flowStatsHas( rule->ruleName() ) ) {
         open.add( "PinFlow status" );
         break;
      }
   }
   return open.joined( waitingFor );
}

Kel::String KelPolicyFragment::getFlowRejectedDetails( Kel::String const & flowName ) const {
   return getFlowRejectedDetails( flowHandle( flowName ) );
}

Kel::String KelPolicyFragment::getFlowRejectedDetails( FlowHandle const & flow ) const {
   KEL_TRACE_INFO( " Flow ", flow.name );
   Conditions invalid;
   Qor::V1::PolicyFlowInfo const & config = configOf( flow );
   if ( config.match.vni.isNone() ) {
      invalid.add( "Match VNI invalid" );
   }
   if ( config.action.vni.isNone() ) {
      invalid.add( "Action VNI invalid" );
   }
   // Rejected by the hardware alone, there is nothing to say behind the opening.
   Kel::String const reasons = invalid.joined( "Rejected because: " );
   return reasons.empty() ? Kel::String( "Rejected because: " ) : reasons;
}

namespace {

bool isRejected( Qor::V1::PolicyFlowInfo const & config, FlowState proposed ) {
   return proposed == FlowState::flowRejected || config.match.vni.isNone() ||
          config.action.vni.isNone();
}

}  // namespace

bool calculateQorFlowState( Kel::Ptr< KelPolicyFragment const > const & polFrag,
                            Kel::String const & flowName, FlowState & flowState,
                            Kel::String & details ) {
   FlowHandle const flow = polFrag->flowHandle( flowName );
   return polFrag->reportOf( flow ) && polFrag->calculateFlowState( flow, flowState, details );
}

Kel::Ptr< Qor::V1::ServicePolicyFragmentStatus > KelPolicyFragment::reportOf(
   FlowHandle const & flow ) const {
   bool const isReported = initialized() && flow.info && policyFragment()->flowHas( flow.name );
   return isReported ? fragmentStatus() : nullptr;
}

bool KelPolicyFragment::calculateFlowState( FlowHandle const & flow, FlowState & flowState,
                                            Kel::String & details ) const {
   Qor::V1::PolicyFlowInfo const & config = configOf( flow );
   if ( isRejected( config, flowState ) ) {
      FlowState const proposed = flowState;
      flowState = FlowState::flowRejected;
      details = getFlowRejectedDetails( flow );
      KEL_TRACE_INFO( " old flowState: ", proposed, " new flowState: ", flowState,
                      " flowStateDetails: ", details );
      return true;
   }
   details = getFlowWaitingDetails( config, *flow.info );
   if ( flowState != FlowState::flowInitial || details.view().starts_with( "Waiting" ) ) {
      return true;
   }
   // Nothing is open: the last reported state stays.
   KEL_TRACE_INFO( " flowState: ", flowState, details, "; returning false" );
   return false;
}

void KelPolicyFragment::updateRuleState( FlowHandle & flow, Kel::String const & ruleName,
                                         FlowState flowState ) {
   KEL_TRACE_SCOPE( " flow: ", flow.name, " rule: ", ruleName );
   lookAgain( flow );
   if ( !reportOf( flow ) ) {
      return;
   }
   // A rule has no words, so what its flow waits for matters only to a proposed 0.
   bool const stands =
      !isRejected( configOf( flow ), flowState ) && flowState != FlowState::flowInitial;
   Kel::String details;
   if ( stands || calculateFlowState( flow, flowState, details ) ) {
      KEL_TRACE_INFO( " set flow rule state" );
      setFlowRuleState( flow, ruleName, flowState );
      agentStatus()->ruleStateForRuleNameIs( ruleName, static_cast< std::uint32_t >( flowState ) );
   }
}

void KelPolicyFragment::updateRuleState( Kel::String const & flowName, Kel::String const & ruleName,
                                         FlowState flowState ) {
   FlowHandle flow{ flowName };
   updateRuleState( flow, ruleName, flowState );
}

void KelPolicyFragment::setFlowRuleState( FlowHandle const & flow, Kel::String const & ruleName,
                                          FlowState flowState ) {
   if ( flow.info ) {
      for ( auto const & [key, rule] : flow.info->ruleInfo() ) {
         if ( rule->ruleName() == ruleName ) {
            rule->ruleStateIs( static_cast< std::uint32_t >( flowState ) );
            return;
         }
      }
   }
}

void KelPolicyFragment::updateFlowState( FlowHandle & flow, FlowState flowState ) {
   KEL_TRACE_SCOPE( " flow: ", flow.name );
   lookAgain( flow );
   auto const report = reportOf( flow );
   Qor::V1::PolicyFlowStatus status;
   if ( !report || !calculateFlowState( flow, flowState, status.flowStateDetails ) ) {
      return;
   }
   KEL_TRACE_INFO( " flowState: ", flowState );
   status.flowName = flow.name;
   status.flowState = flowState;
   if ( flowState == FlowState::flowProgrammed && !isServiceFlow( *flow.info ) ) {
      Bridging::MacVlanPair const host = getHostFromFlowName( flow );
      status.hostMac = host.mac;
      status.hostMoveCount = getHostMoveCount( host );
   }
   report->flowStatusIs( status );
}

void KelPolicyFragment::updateFlowState( Kel::String const & flowName, FlowState flowState ) {
   FlowHandle flow{ flowName };
   updateFlowState( flow, flowState );
}

void KelPolicyFragment::updateFlowStateAll( FlowState flowState ) {
   KEL_TRACE_SCOPE( " fragment: ", fragmentName() );
   if ( auto info = fragInfo() ) {
      for ( Kel::String const & flowName : info->flowInfoKeys() ) {
         FlowHandle flow{ flowName, info };
         updateFlowState( flow, flowState );
      }
   }
}

}  // namespace QorClient::DatapathV1
