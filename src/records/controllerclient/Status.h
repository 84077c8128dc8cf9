#pragma once

#include "platform/kel/Entity.h"
#include "records/controller/ServiceStatus.h"

namespace ControllerClient {

/** The switch's connection to the controllers. */
class Status : public Kel::NamedEntity {
   KEL_SHARED_ENTITY( ControllerClient::Status )
   KEL_SCALAR( bool, enabled )
   /** The services of the controllers' leader; null while there is none. */
   KEL_REFERENCE( Controller::ServiceStatusDir, leaderServiceStatusDir )
};
KEL_FACTORY( statusFactory, Status )

}  // namespace ControllerClient
