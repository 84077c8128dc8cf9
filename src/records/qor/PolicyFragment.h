#pragma once

#include "platform/kel/Entity.h"
#include "records/qor/GracefulRebootCookie.h"
#include "records/qor/PolicyFlowInfo.h"
#include "records/vxlan/Vni.h"

namespace Qor::V1 {

/** Service interfaces by name. A fragment has two sets: "near" and "far". */
class ServiceIntfSet : public Kel::NamedEntity {
   KEL_SHARED_ENTITY( Qor::V1::ServiceIntfSet )
   KEL_MAP( Kel::String, bool, intf )
};
KEL_FACTORY( serviceIntfSetFactory, ServiceIntfSet )

/** One service, inserted between an original VNI and a service VNI. */
class ServicePolicyFragment : public Kel::NamedEntity {
   KEL_SHARED_ENTITY( Qor::V1::ServicePolicyFragment )
   /** The VNI of the traffic before the service, on the far side. */
   KEL_SCALAR( Vxlan::VniOrNone, originalVni )
   /** The VNI of the service segment, on the near side. */
   KEL_SCALAR( Vxlan::VniOrNone, serviceVni )
   KEL_VALUES( Kel::String, PolicyFlowInfo, flow, flowName )
   /** The flow where it stands, the default when absent. It is to be read at once: a write may have
    *  the policy changed, and the flow taken away. */
   PolicyFlowInfo const & flowInPlace( Kel::String const & name ) const {
      static PolicyFlowInfo const absent;
      PolicyFlowInfo const * const found = flow_.members().find( name );
      return found ? *found : absent;
   }
   KEL_CHILDREN( Kel::Name, ServiceIntfSet, serviceIntfSet )
   KEL_REFERENCE( GracefulRebootCookie, grCookie )
};
KEL_FACTORY( servicePolicyFragmentFactory, ServicePolicyFragment )

/** The policy of one L2 service. */
class QorPolicyFragment : public Kel::NamedEntity {
   KEL_SHARED_ENTITY( Qor::V1::QorPolicyFragment )
   KEL_CHILDREN( Kel::String, ServicePolicyFragment, policyFragment )
};
KEL_FACTORY( qorPolicyFragmentFactory, QorPolicyFragment )

}  // namespace Qor::V1
