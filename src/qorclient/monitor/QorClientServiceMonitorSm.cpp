#include "qorclient/monitor/QorClientServiceMonitorSm.h"

#include "platform/flashlog/DualLog.h"

KEL_TRACE_UNIT( "QorClientServiceMonitorSm", "QorClientServiceMonitorSm" )

KEL_MACHINE_TYPE( QorClient::ServiceStatusSm )
KEL_MACHINE_TYPE( QorClient::ServiceMonitorSm )
KEL_MACHINE_TYPE( QorClient::ServiceMonitorRootSm )

namespace QorClient {

// --- ServiceStatusSm ---

void ServiceStatusSm::handleEnabled() {
   KEL_TRACE_SCOPE();
   KEL_TRACE_INFO( "Service: ", serviceName(), " Enabled: ", serviceStatus()->enabled() );
   parent()->computeServiceStatus();
}

// --- ServiceMonitorSm ---

void ServiceMonitorSm::handleInitialized() {
   KEL_TRACE_SCOPE();
   initializedIs( true );
   qorServiceIs( localData()->qorL2Service() );
   qorServiceIs( localData()->qorL3Service() );
   handleService();
}

void ServiceMonitorSm::handleService() {
   KEL_TRACE_SCOPE();
   for ( Kel::Name const & name : leaderServiceStatusDir()->serviceKeys() ) {
      handleService( name );
   }
}

void ServiceMonitorSm::handleService( Kel::Name const & name ) {
   KEL_TRACE_SCOPE( " name: ", name );
   if ( !initialized() ) {
      KEL_TRACE_INFO( "Not initialized" );
      return;
   }
   if ( !qorServiceHas( name ) ) {
      KEL_TRACE_INFO( " Non-Qor service. return" );
      return;
   }
   if ( Kel::Ptr< Controller::ServiceStatusV1 const > status =
           leaderServiceStatusDir()->service( name ) ) {
      KEL_TRACE_INFO( " Service is added" );
      serviceStatusSmIs( status, this );
   } else {
      KEL_TRACE_INFO( " Service is removed" );
      serviceStatusSmDel( name );
   }
   computeServiceStatus();
}

void ServiceMonitorSm::computeServiceStatus() {
   KEL_TRACE_SCOPE();
   if ( !initialized() ) {
      return;
   }
   bool enabled = false;
   for ( Kel::String const & name : qorService() ) {
      Kel::Ptr< ServiceStatusSm > child = serviceStatusSm( name );
      if ( child && child->serviceStatus()->enabled() ) {
         KEL_TRACE_INFO( "Service ", name, " is enabled" );
         enabled = true;
         break;
      }
   }
   localData()->qorEnabledIs( enabled );
}

void ServiceMonitorSm::cleanup() {
   KEL_TRACE_SCOPE();
   serviceStatusSmDelAll();
   localData()->qorEnabledIs( false );
   initializedIs( false );
}

// --- ServiceMonitorRootSm ---

void ServiceMonitorRootSm::handleInitialized() {
   KEL_TRACE_SCOPE();
   initializedIs( true );
   handleLeaderServiceStatusDir();
}

void ServiceMonitorRootSm::handleLeaderServiceStatusDir() {
   if ( !initialized() ) {
      return;
   }
   KEL_TRACE_SCOPE();
   if ( Kel::Ptr< Controller::ServiceStatusDir const > dir =
           controllerClientStatus()->leaderServiceStatusDir() ) {
      serviceMonitorSmIs( dir );
   } else {
      serviceMonitorSmDel();
   }
}

void ServiceMonitorRootSm::cleanup() {
   KEL_TRACE_SCOPE();
   serviceMonitorSmDel();
   initializedIs( false );
}

}  // namespace QorClient
