#include "qorclient/l3/FragmentStatusVrfSm.h"

#include "platform/flashlog/DualLog.h"

KEL_TRACE_UNIT( "QorClientL3FragmentSm", "QorClientL3FragmentSm" )

KEL_MACHINE_TYPE( QorClientL3::V1::FragmentStatusVrfSm )

namespace QorClientL3::V1 {

void FragmentStatusVrfSm::handleInitialized() {
   KEL_TRACE_SCOPE( "VRF: ", vrf() );
   initializedIs( true );
   handleFlowGroupConfig();
}

void FragmentStatusVrfSm::handleFlowGroupConfig( QorL3::V1::FlowGroupOrder const & order ) {
   if ( !initialized() ) {
      KEL_TRACE_INFO( "Not initialized" );
      return;
   }
   KEL_TRACE_SCOPE( "VRF: ", vrf(), " Order: ", order.stringValue() );
   Kel::Ptr< QorL3::V1::FlowGroupConfig const > const config = fragmentConfig()->flowGroup( order );
   if ( !config ) {
      KEL_TRACE_INFO( "FlowGroupStatus with Order ", order.stringValue(), " removed" );
      flowGroupStatusSmDel( order );
      fragmentStatus()->flowGroupDel( order );
   } else {
      auto const status = fragmentStatus()->flowGroupIs( order );
      flowGroupStatusSmIs( vrf(), status, config, pfHwStatus(), pfHwConfig() );
   }
}

void FragmentStatusVrfSm::handleFlowGroupConfig() {
   KEL_TRACE_SCOPE( "VRF: ", vrf() );
   if ( !initialized() ) {
      KEL_TRACE_INFO( "Not initialized" );
      return;
   }
   for ( QorL3::V1::FlowGroupOrder const & order : fragmentStatus()->flowGroupKeys() ) {
      if ( !fragmentConfig()->flowGroupHas( order ) ) {
         fragmentStatus()->flowGroupDel( order );
      }
   }
   for ( QorL3::V1::FlowGroupOrder const & order : fragmentConfig()->flowGroupKeys() ) {
      handleFlowGroupConfig( order );
   }
}

void FragmentStatusVrfSm::cleanup() {
   KEL_TRACE_SCOPE( "VRF: ", vrf() );
   flowGroupStatusSmDelAll();
   fragmentStatus()->flowGroupDelAll();
   initializedIs( false );
}

}  // namespace QorClientL3::V1
