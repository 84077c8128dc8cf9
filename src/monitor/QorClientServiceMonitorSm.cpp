#include "monitor/QorClientServiceMonitorSm.h"

#include "platform/flashlog/DualLog.h"

KEL_TRACE_UNIT( "QorClientServiceMonitorSm", "QorClientServiceMonitorSm" )

KEL_MACHINE_TYPE( QorClient::ServiceStatusSm )
KEL_MACHINE_TYPE( QorClient::ServiceMonitorSm )
KEL_MACHINE_TYPE( QorClient::ServiceMonitorRootSm )

namespace QorClient {

// --- ServiceStatusSm ---

void ServiceStatusSm::handleEnabled() {
   KEL_TRACE_INFO( "Service: ", serviceName(), " Enabled: ", serviceStatus()->enabled() );
   parent()->computeServiceStatus();
   KEL_TRACE_RETURN();
}

// --- ServiceMonitorSm ---

void ServiceMonitorSm::handleInitialized() {
   KEL_TRACE_ENTRY();
   initializedIs( true );
   qorServiceIs( localData()->qorL2Service() );
   qorServiceIs( localData()->qorL3Service() );
   handleService();
   KEL_TRACE_RETURN();
}

void ServiceMonitorSm::handleService() {
   KEL_TRACE_ENTRY();
   for ( Kel::Name const & name : leaderServiceStatusDir()->serviceKeys() ) {
      handleService( name );
   }
   KEL_TRACE_RETURN();
}

void ServiceMonitorSm::handleService( Kel::Name const & name ) {
   KEL_TRACE_ENTRY( " name: ", name );
   if ( !initialized() ) {
      return;
   }
   if ( !qorServiceHas( name ) ) {
      KEL_TRACE( Kel::traceReturn, " Non-Qor service. return" );
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
   KEL_TRACE_RETURN();
}

void ServiceMonitorSm::computeServiceStatus() {
   KEL_TRACE_ENTRY();
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
   KEL_TRACE_RETURN();
}

void ServiceMonitorSm::cleanup() {
   KEL_TRACE_ENTRY();
   serviceStatusSmDelAll();
   localData()->qorEnabledIs( false );
   initializedIs( false );
   KEL_TRACE_RETURN();
}

// --- ServiceMonitorRootSm ---

void ServiceMonitorRootSm::handleInitialized() {
   KEL_TRACE_ENTRY();
   initializedIs( true );
   handleLeaderServiceStatusDir();
   KEL_TRACE_RETURN();
}

void ServiceMonitorRootSm::handleLeaderServiceStatusDir() {
   if ( !initialized() ) {
      return;
   }
   KEL_TRACE_ENTRY();
   if ( Kel::Ptr< Controller::ServiceStatusDir const > dir =
           controllerClientStatus()->leaderServiceStatusDir() ) {
      serviceMonitorSmIs( dir );
   } else {
      serviceMonitorSmDel();
   }
   KEL_TRACE_RETURN();
}

void ServiceMonitorRootSm::cleanup() {
   KEL_TRACE_ENTRY();
   serviceMonitorSmDel();
   initializedIs( false );
   KEL_TRACE_RETURN();
}

}  // namespace QorClient
