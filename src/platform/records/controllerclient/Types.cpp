#include "platform/records/controllerclient/Status.h"

KEL_SHARED_TYPE( ControllerClient::Status )
