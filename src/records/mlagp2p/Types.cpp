#include "records/mlagp2p/Status.h"

KEL_SHARED_TYPE( MlagP2p::QorClient::Status )
