#include "records/vxlan/VniSviConfig.h"
#include "records/vxlan/VtiStatus.h"
#include "records/vxlan/VxlanClientConfig.h"

KEL_SHARED_TYPE( Vxlan::VniSviConfig )
KEL_SHARED_TYPE( Vxlan::VtiStatus )
KEL_SHARED_TYPE( Vxlan::VtiStatusDir )
KEL_SHARED_TYPE( Vxlan::VxlanClientConfig )
