#include "qorclient/l3/FlowStatusSm.h"

#include <algorithm>
#include <string_view>

#include "platform/flashlog/DualLog.h"

KEL_TRACE_UNIT( "QorClientL3FragmentSm", "QorClientL3FragmentSm" )

KEL_MACHINE_TYPE( QorClientL3::V1::FlowStatusSm )

namespace QorClientL3::V1 {

using OpenFlowTable::FlowStatus;

namespace {

/** The text of an answer that is not known: it lacks as many characters at its start as the
 *  answer's number says. Controllers know it so. */
Kel::String unhandledText( FlowStatus flowStatus ) {
   constexpr std::string_view text = "Unhandled Flow State: ";
   return text.substr(
      std::min( std::size_t{ static_cast< unsigned >( flowStatus ) }, text.size() ) );
}

}  // namespace

QorL3::V1::FlowStatus unknownFlowStatus( QorL3::V1::FlowConfig const & flowConfig ) {
   QorL3::V1::FlowStatus status( flowConfig.name );
   status.enabled = flowConfig.enabled;
   status.firstLabel = flowConfig.firstLabel;
   status.secondLabel = flowConfig.secondLabel;
   return status;
}

bool FlowStatusSm::isFlowActive( FlowStatus flowStatus ) {
   return flowStatus == FlowStatus::active;
}

bool FlowStatusSm::isFlowPending( FlowStatus flowStatus ) {
   return flowStatus == FlowStatus::pending;
}

bool FlowStatusSm::isFlowError( FlowStatus flowStatus ) {
   switch ( flowStatus ) {
      case FlowStatus::tableFull:
      case FlowStatus::refused6:
      case FlowStatus::refused7:
      case FlowStatus::refused8:
      case FlowStatus::refused10:
      case FlowStatus::refused12:
      case FlowStatus::refused13:
         return true;
      default:
         return false;
   }
}

void FlowStatusSm::handleInitialized() {
   KEL_TRACE_SCOPE( "VRF: ", vrf(), " Order: ", order().stringValue(), " FlowName", flowName(),
                    " Status: ", flowStats()->status() );
   initializedIs( true );
   handleStatus();
}

void FlowStatusSm::handleStatus() {
   if ( !initialized() ) {
      KEL_TRACE_INFO( "Not initialized" );
      return;
   }
   KEL_TRACE_SCOPE( "VRF: ", vrf(), " Order: ", order().stringValue(), " FlowName", flowName() );
   QorL3::V1::FlowStatus status = unknownFlowStatus( flowConfig_ );
   FlowStatus const answer = flowStats()->status();
   if ( isFlowActive( answer ) ) {
      KEL_TRACE_INFO( "Flow ", status.name, " has active state" );
      status.state = QorL3::V1::State::active;
   } else if ( isFlowPending( answer ) ) {
      KEL_TRACE_INFO( "Flow ", status.name, " has pending state" );
      status.state = QorL3::V1::State::pending;
   } else if ( isFlowError( answer ) ) {
      KEL_TRACE_INFO( "Flow ", status.name, " has error state" );
      status.state = QorL3::V1::State::error;
   } else {
      KEL_TRACE_INFO( "Flow ", status.name, " has unknown state: ", answer );
      status.state = QorL3::V1::State::error;
      status.detail = unhandledText( answer );
   }
   flowGroupStatus()->flowIs( status );
}

void FlowStatusSm::cleanup() {
   KEL_TRACE_SCOPE( "VRF: ", vrf(), " Order: ", order().stringValue(), " FlowName", flowName() );
   flowGroupStatus()->flowDel( flowName() );
   initializedIs( false );
}

}  // namespace QorClientL3::V1
