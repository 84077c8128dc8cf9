#pragma once

#include "platform/kel/Entity.h"

namespace Controller {

/** What the controller says of one of its services. */
class ServiceStatusV1 : public Kel::NamedEntity {
   KEL_SHARED_ENTITY( Controller::ServiceStatusV1 )
   KEL_SCALAR( bool, enabled )
};
KEL_FACTORY( serviceStatusV1Factory, ServiceStatusV1 )

/** The services of one controller. */
class ServiceStatusDir : public Kel::NamedEntity {
   KEL_SHARED_ENTITY( Controller::ServiceStatusDir )
   KEL_CHILDREN( Kel::Name, ServiceStatusV1, service )
};
KEL_FACTORY( serviceStatusDirFactory, ServiceStatusDir )

}  // namespace Controller
