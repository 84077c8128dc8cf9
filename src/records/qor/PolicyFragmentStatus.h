#pragma once

#include "platform/kel/Entity.h"
#include "records/qor/GracefulRebootCookie.h"
#include "records/qor/PolicyFlowStatus.h"
#include "records/vxlan/Vni.h"

namespace Qor::V1 {

class ServicePolicyFragmentStatus : public Kel::NamedEntity {
   KEL_SHARED_ENTITY( Qor::V1::ServicePolicyFragmentStatus )
   /** The VNIs that were last taken over; a change of the policy is told by them. */
   KEL_SCALAR( Vxlan::VniOrNone, originalVni )
   KEL_SCALAR( Vxlan::VniOrNone, serviceVni )
   KEL_VALUES( Kel::String, PolicyFlowStatus, flowStatus, flowName )
   KEL_REFERENCE( GracefulRebootCookie, grCookie )
};
KEL_FACTORY( servicePolicyFragmentStatusFactory, ServicePolicyFragmentStatus )

/** The state of the L2 policy, for the controller. */
class QorPolicyFragmentStatus : public Kel::NamedEntity {
   KEL_SHARED_ENTITY( Qor::V1::QorPolicyFragmentStatus )
   KEL_CHILDREN( Kel::String, ServicePolicyFragmentStatus, policyFragment )
};
KEL_FACTORY( qorPolicyFragmentStatusFactory, QorPolicyFragmentStatus )

}  // namespace Qor::V1
