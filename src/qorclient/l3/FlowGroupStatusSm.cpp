#include "qorclient/l3/FlowGroupStatusSm.h"

#include "platform/flashlog/DualLog.h"

KEL_TRACE_UNIT( "QorClientL3FragmentSm", "QorClientL3FragmentSm" )

KEL_MACHINE_TYPE( QorClientL3::V1::FlowGroupStatusSm )

namespace QorClientL3::V1 {

void FlowGroupStatusSm::handleInitialized() {
   KEL_TRACE_SCOPE( "VRF: ", vrf(), " Order: ", order().stringValue() );
   initializedIs( true );
   handleFlowStatus();
}

void FlowGroupStatusSm::handleFlowStatus( Kel::String const & name ) {
   if ( !initialized() ) {
      KEL_TRACE_INFO( "Not initialized" );
      return;
   }
   KEL_TRACE_SCOPE( "VRF: ", vrf(), " Order: ", order().stringValue(), " Flow: ", name );
   QorL3::V1::FlowConfig const flowConfig = flowGroupConfig()->flow( name );
   Kel::Ptr< OpenFlowTable::FlowStats const > const flowStats = pfHwStatus()->flowStats( name );
   if ( !!flowConfig ) {
      pfHwStatusWants( name, true );
   }
   // The end of the machine removes the row.
   flowStatusSmDel( name );
   if ( !flowStats ) {
      flowGroupStatus()->flowDel( name );
   }
   if ( !flowConfig ) {
      pfHwStatusWants( name, flowGroupStatus()->flowHas( name ) );
      return;
   }
   if ( flowStats ) {
      flowStatusSmIs( vrf(), order(), flowConfig, flowStats, flowGroupStatus() );
   } else {
      KEL_TRACE_INFO( "Flow Stats ", name, "is not avaialble" );
      static Kel::String const detail = "No flow status";
      QorL3::V1::FlowStatus status = unknownFlowStatus( flowConfig );
      status.detail = detail;
      flowGroupStatus()->flowIs( status );
   }
}

void FlowGroupStatusSm::handleFlowStatus() {
   KEL_TRACE_SCOPE( "VRF: ", vrf(), " Order: ", order().stringValue() );
   if ( !initialized() ) {
      KEL_TRACE_INFO( "Not initialized" );
      return;
   }
   for ( Kel::String const & name : flowGroupStatus()->flowKeys() ) {
      if ( !flowGroupConfig()->flowHas( name ) ) {
         KEL_TRACE_INFO( "Removing: ", name );
         flowGroupStatus()->flowDel( name );
      }
   }
   for ( Kel::String const & name : flowGroupConfig()->flowKeys() ) {
      handleFlowStatus( name );
   }
}

void FlowGroupStatusSm::handleStatusRow( Kel::String const & name ) {
   KEL_TRACE_SCOPE( "VRF: ", vrf(), " Order: ", order().stringValue(), " Flow: ", name );
   // A row of a flow that nobody configures, which is another hand's, goes with the flow's stats.
   if ( !flowGroupConfig()->flowHas( name ) ) {
      pfHwStatusWants( name, flowGroupStatus()->flowHas( name ) );
   }
}

void FlowGroupStatusSm::cleanup() {
   KEL_TRACE_SCOPE( "VRF: ", vrf(), " Order: ", order().stringValue() );
   flowStatusSmDelAll();
   initializedIs( false );
}

}  // namespace QorClientL3::V1
