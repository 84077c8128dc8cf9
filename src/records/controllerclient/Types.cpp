#include "records/controllerclient/Status.h"

KEL_SHARED_TYPE( ControllerClient::Status )
