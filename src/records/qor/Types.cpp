#include "records/qor/GracefulRebootCookie.h"
#include "records/qor/PolicyFragment.h"
#include "records/qor/PolicyFragmentStatus.h"

KEL_SHARED_TYPE( Qor::V1::GracefulRebootCookie )
KEL_SHARED_TYPE( Qor::V1::ServiceIntfSet )
KEL_SHARED_TYPE( Qor::V1::ServicePolicyFragment )
KEL_SHARED_TYPE( Qor::V1::QorPolicyFragment )
KEL_SHARED_TYPE( Qor::V1::ServicePolicyFragmentStatus )
KEL_SHARED_TYPE( Qor::V1::QorPolicyFragmentStatus )
