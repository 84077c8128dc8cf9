#include "records/vxlancontroller/VniFdbStatusV2.h"

KEL_SHARED_TYPE( VxlanController::VniFdbStatusV2 )
