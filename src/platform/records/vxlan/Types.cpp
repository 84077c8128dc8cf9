#include "platform/records/vxlan/VniSviConfig.h"
#include "platform/records/vxlan/VtiStatus.h"
#include "platform/records/vxlan/VxlanClientConfig.h"

KEL_SHARED_TYPE( Vxlan::VniSviConfig )
KEL_SHARED_TYPE( Vxlan::VtiStatus )
KEL_SHARED_TYPE( Vxlan::VtiStatusDir )
KEL_SHARED_TYPE( Vxlan::VxlanClientConfig )
