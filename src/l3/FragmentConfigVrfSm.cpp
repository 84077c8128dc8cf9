#include "l3/FragmentConfigVrfSm.h"

#include "platform/flashlog/DualLog.h"

KEL_TRACE_UNIT( "QorClientL3FragmentSm", "QorClientL3FragmentSm" )

KEL_MACHINE_TYPE( QorClientL3::V1::FragmentConfigVrfSm )

namespace QorClientL3::V1 {

void FragmentConfigVrfSm::handleInitialized() {
   KEL_TRACE_ENTRY( "VRF: ", vrf() );
   initializedIs( true );
   handleFlowGroupConfig();
   KEL_TRACE_RETURN();
}

void FragmentConfigVrfSm::handleFlowGroupConfig( QorL3::V1::FlowGroupOrder const & order ) {
   if ( !initialized() ) {
      return;
   }
   KEL_TRACE_ENTRY( "VRF: ", vrf(), "FlowGroupOrder ", order.stringValue() );
   Kel::Ptr< QorL3::V1::FlowGroupConfig const > const config = fragmentConfig()->flowGroup( order );
   if ( config ) {
      Kel::Ptr< QorClient::VtepInfo const > const vtepInfo = this->vtepInfo();
      flowGroupConfigSmIs( vrf(), config, pfHwConfig(), cachedFlowConfig(), vtepInfo );
   } else {
      KEL_TRACE_INFO( "FlowGroupConfig with Order ", order.stringValue(), " removed" );
      flowGroupConfigSmDel( order );
   }
   KEL_TRACE_RETURN();
}

void FragmentConfigVrfSm::handleFlowGroupConfig() {
   if ( !initialized() ) {
      return;
   }
   for ( QorL3::V1::FlowGroupOrder const & order : fragmentConfig()->flowGroupKeys() ) {
      handleFlowGroupConfig( order );
   }
}

void FragmentConfigVrfSm::cleanup() {
   KEL_TRACE_ENTRY( "VRF: ", vrf() );
   flowGroupConfigSmDelAll();
   initializedIs( false );
   KEL_TRACE_RETURN();
}

}  // namespace QorClientL3::V1
