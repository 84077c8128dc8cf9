#include "platform/records/mlag/Config.h"
#include "platform/records/mlag/HostTable.h"
#include "platform/records/mlag/Status.h"

KEL_SHARED_TYPE( Mlag::Config )
KEL_SHARED_TYPE( Mlag::HostTable )
KEL_SHARED_TYPE( Mlag::Status )
