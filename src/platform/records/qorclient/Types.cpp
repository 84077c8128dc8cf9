#include "platform/records/qorclient/FlowInfo.h"
#include "platform/records/qorclient/PolicyFragmentInfo.h"
#include "platform/records/qorclient/Status.h"

KEL_SHARED_TYPE( QorClient::RuleInfo )
KEL_SHARED_TYPE( QorClient::FlowInfo )
KEL_SHARED_TYPE( QorClient::ServiceIntfSetInfo )
KEL_SHARED_TYPE( QorClient::PolicyFragmentInfo )
KEL_SHARED_TYPE( QorClient::Status )
