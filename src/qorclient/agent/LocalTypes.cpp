#include "qorclient/agent/FlowInfo.h"
#include "qorclient/agent/PolicyFragmentInfo.h"
#include "qorclient/agent/Status.h"

KEL_SHARED_TYPE( QorClient::RuleInfo )
KEL_SHARED_TYPE( QorClient::FlowInfo )
KEL_SHARED_TYPE( QorClient::ServiceIntfSetInfo )
KEL_SHARED_TYPE( QorClient::PolicyFragmentInfo )
KEL_SHARED_TYPE( QorClient::Status )
