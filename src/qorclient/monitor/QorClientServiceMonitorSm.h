#pragma once

#include "platform/kel/StateMachine.h"
#include "qorclient/agent/QorClientLocalTypes.h"
#include "records/controller/ServiceStatus.h"
#include "records/controllerclient/Status.h"

/*
 * The watch over the controller's services. It reduces the leader's service directory to one bit,
 * `LocalData.qorEnabled`: at least one of the agent's two services is enabled. It lives as long as
 * the agent, and never asks whether the gate that the bit opens stands open.
 */

namespace QorClient {

class ServiceMonitorSm;

/** Watches the enable flag of one service. */
class ServiceStatusSm : public Kel::StateMachine {
   KEL_STATE_MACHINE( QorClient::ServiceStatusSm )

   // Inputs.
   KEL_REACTOR( KelServiceStatus, Controller::ServiceStatusV1 const, serviceStatus,
                KEL_ON( enabled, handleEnabled ) )
   /** Owns this machine, and is told of each change. */
   KEL_GIVEN( QorClient::ServiceMonitorSm *, parent )

   // Operations.
   Kel::Name serviceName() const { return keyOf( serviceStatus(), parent() ); }
   static Kel::Name keyOf( Kel::Ptr< Controller::ServiceStatusV1 const > const & serviceStatus,
                           ServiceMonitorSm * ) {
      return serviceStatus->name();
   }

   // Handlers.
   void handleEnabled();
};
KEL_FACTORY( serviceStatusSmFactory, ServiceStatusSm )

/** Watches one service directory. At its end no service counts as enabled. */
class ServiceMonitorSm : public Kel::StateMachine {
   KEL_STATE_MACHINE( QorClient::ServiceMonitorSm )

   // Inputs.
   KEL_REACTOR( KelLeaderServiceStatusDir, Controller::ServiceStatusDir const,
                leaderServiceStatusDir, KEL_ON( service, handleService ) )
   KEL_SINGLETON( LocalData, localData )

   // Own state and children.
   /** The names that count. */
   KEL_OWN_SET( Kel::String, qorService )
   /** One for each of those services that is in the directory. */
   KEL_CHILDREN_BY_KEY( Kel::Name, ServiceStatusSm, serviceStatusSm )
   KEL_OWN( bool, initialized )

   // Operations.
   /** Sets `qorEnabled`: whether one of the names that count is in the directory and enabled. */
   void computeServiceStatus();
   void cleanup();

   // Handlers.
   void handleService( Kel::Name const & name );
   void handleService();
   void handleInitialized() override;

 protected:
   void handleEnd() override { cleanup(); }
};
KEL_FACTORY( serviceMonitorSmFactory, ServiceMonitorSm )

/** Follows the leader's directory as it comes and goes. */
class ServiceMonitorRootSm : public Kel::StateMachine {
   KEL_STATE_MACHINE( QorClient::ServiceMonitorRootSm )

   // Inputs.
   KEL_REACTOR( KelControllerClientStatus, ControllerClient::Status const, controllerClientStatus,
                KEL_ON( leaderServiceStatusDir, handleLeaderServiceStatusDir ) )

   // Children: present while there is a directory.
   KEL_CHILD( ServiceMonitorSm, serviceMonitorSm )

   // Own state.
   KEL_OWN( bool, initialized )

   // Operations.
   void cleanup();

   // Handlers.
   void handleLeaderServiceStatusDir();
   void handleInitialized() override;

 protected:
   void handleEnd() override { cleanup(); }
};
KEL_FACTORY( serviceMonitorRootSmFactory, ServiceMonitorRootSm )

}  // namespace QorClient
