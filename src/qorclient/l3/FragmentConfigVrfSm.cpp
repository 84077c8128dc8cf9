#include "qorclient/l3/FragmentConfigVrfSm.h"

#include "platform/flashlog/DualLog.h"

KEL_TRACE_UNIT( "QorClientL3FragmentSm", "QorClientL3FragmentSm" )

KEL_MACHINE_TYPE( QorClientL3::V1::FragmentConfigVrfSm )

namespace QorClientL3::V1 {

void FragmentConfigVrfSm::handleInitialized() {
   KEL_TRACE_SCOPE( "VRF: ", vrf() );
   initializedIs( true );
   handleFlowGroupConfig();
}

void FragmentConfigVrfSm::handleFlowGroupConfig( QorL3::V1::FlowGroupOrder const & order ) {
   if ( !initialized() ) {
      KEL_TRACE_INFO( "Not initialized" );
      return;
   }
   KEL_TRACE_SCOPE( "VRF: ", vrf(), "FlowGroupOrder ", order.stringValue() );
   Kel::Ptr< QorL3::V1::FlowGroupConfig const > const config = fragmentConfig()->flowGroup( order );
   if ( config ) {
      Kel::Ptr< QorClient::VtepInfo const > const vtepInfo = this->vtepInfo();
      flowGroupConfigSmIs( vrf(), config, pfHwConfig(), cachedFlowConfig(), vtepInfo );
   } else {
      KEL_TRACE_INFO( "FlowGroupConfig with Order ", order.stringValue(), " removed" );
      flowGroupConfigSmDel( order );
   }
}

void FragmentConfigVrfSm::handleFlowGroupConfig() {
   KEL_TRACE_SCOPE( "VRF: ", vrf() );
   if ( !initialized() ) {
      KEL_TRACE_INFO( "Not initialized" );
      return;
   }
   for ( QorL3::V1::FlowGroupOrder const & order : fragmentConfig()->flowGroupKeys() ) {
      handleFlowGroupConfig( order );
   }
}

void FragmentConfigVrfSm::cleanup() {
   KEL_TRACE_SCOPE( "VRF: ", vrf() );
   flowGroupConfigSmDelAll();
   initializedIs( false );
}

}  // namespace QorClientL3::V1
