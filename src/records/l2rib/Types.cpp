#include "records/l2rib/SourceDirEntry.h"

KEL_SHARED_TYPE( L2Rib::SourceDirEntry )
