#include "records/mlag/Config.h"
#include "records/mlag/HostTable.h"
#include "records/mlag/Status.h"

KEL_SHARED_TYPE( Mlag::Config )
KEL_SHARED_TYPE( Mlag::HostTable )
KEL_SHARED_TYPE( Mlag::Status )
