#include "records/routing/VirtualRouterMacStatus.h"

KEL_SHARED_TYPE( Routing::Fhrp::VirtualRouterMacStatus )
