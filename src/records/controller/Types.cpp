#include "records/controller/ServiceStatus.h"

KEL_SHARED_TYPE( Controller::ServiceStatusV1 )
KEL_SHARED_TYPE( Controller::ServiceStatusDir )
