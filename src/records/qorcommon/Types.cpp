#include "records/qorcommon/Capability.h"

KEL_SHARED_TYPE( QorCommon::V1::Capability )
