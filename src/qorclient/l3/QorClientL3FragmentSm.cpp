#include "qorclient/l3/QorClientL3FragmentSm.h"

#include "platform/flashlog/DualLog.h"

KEL_TRACE_UNIT( "QorClientL3FragmentSm", "QorClientL3FragmentSm" )

KEL_MACHINE_TYPE( QorClientL3::V1::FragmentSm )

namespace QorClientL3::V1 {

void FragmentSm::handleInitialized() {
   KEL_TRACE_SCOPE();
   initializedIs( true );
   cachedFlowConfigIs( cachedFlowConfigFactory( "cachedFlowConfig" ) );
   handleFragmentConfigDir();
   deleteStaleFlows();
   cachedFlowConfig()->flowDelAll();
}

void FragmentSm::deleteStaleFlows() {
   auto const wanted = cachedFlowConfig();
   KEL_TRACE_INFO( "Flows present for PinFlow: ", pfHwConfig()->flowEntryCount(),
                   " and in Cache: ", wanted->flowCount() );
   for ( Kel::Name const & name : pfHwConfig()->flowEntryKeys() ) {
      if ( !wanted->flowHas( name ) ) {
         KEL_TRACE_INFO( "Removing flow: ", name );
         pfHwConfig()->flowEntryDel( name );
      }
   }
}

void FragmentSm::handleFragmentConfigDir( Kel::Name const & vrfName ) {
   if ( !initialized() ) {
      KEL_TRACE_INFO( "Not initialized" );
      return;
   }
   KEL_TRACE_SCOPE( vrfName );
   L3::VrfName const vrf( vrfName );
   auto const config =
      Kel::ptrCast< QorL3::V1::FragmentConfig const >( fragmentConfigDir()->entity( vrfName ) );
   if ( config ) {
      KEL_TRACE_INFO( "Creating VrfSm's for VRF ", vrf );
      fragmentConfigVrfSmIs( vrf, config, pfHwConfig(), cachedFlowConfig() );
      auto const status = Kel::ptrCast< QorL3::V1::FragmentStatus >(
         fragmentStatusDir()->createEntity( "QorL3::V1::FragmentStatus", vrfName ) );
      fragmentStatusVrfSmIs( vrf, status, config, pfHwStatus(), pfHwConfig() );
   } else {
      KEL_TRACE_INFO( vrf, " missing, removing SM's" );
      fragmentStatusVrfSmDel( vrf );
      fragmentStatusDir()->deleteEntity( vrfName );
      fragmentConfigVrfSmDel( vrf );
   }
}

void FragmentSm::handleFragmentConfigDir() {
   KEL_TRACE_SCOPE();
   if ( !initialized() ) {
      KEL_TRACE_INFO( "Not initialized" );
      return;
   }
   for ( auto const & [vrfName, status] : fragmentStatusDir()->entity() ) {
      if ( !fragmentConfigDir()->entityHas( vrfName ) ) {
         KEL_TRACE_INFO( "Removing FragmentStatusDir for VRF ", vrfName );
         fragmentStatusDir()->deleteEntity( vrfName );
      }
   }
   for ( auto const & [vrfName, config] : fragmentConfigDir()->entity() ) {
      handleFragmentConfigDir( vrfName );
   }
}

void FragmentSm::cleanup() {
   KEL_TRACE_SCOPE();
   fragmentStatusVrfSmDelAll();
   for ( auto const & [vrfName, status] : fragmentStatusDir()->entity() ) {
      fragmentStatusDir()->deleteEntity( vrfName );
   }
   fragmentConfigVrfSmDelAll();
   initializedIs( false );
}

}  // namespace QorClientL3::V1
