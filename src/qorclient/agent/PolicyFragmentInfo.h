#pragma once

#include <cstdint>

#include "platform/kel/Entity.h"
#include "qorclient/agent/FlowInfo.h"
#include "qorclient/agent/VniAndIntfForPolicyFragment.h"
#include "records/bridging/VlanId.h"
#include "records/vxlan/Vni.h"

namespace QorClient {

class ServiceIntfSetInfo : public Kel::NamedEntity {
   KEL_SHARED_ENTITY( QorClient::ServiceIntfSetInfo )
   /** The bindings that the set holds. */
   KEL_MAP( VniAndIntfForPolicyFragment, bool, boundVni )
};
KEL_FACTORY( serviceIntfSetInfoFactory, ServiceIntfSetInfo )

/** What the agent remembers of a fragment over a restart. */
class PolicyFragmentInfo : public Kel::NamedEntity {
   KEL_SHARED_ENTITY( QorClient::PolicyFragmentInfo )
   KEL_CHILDREN( Kel::String, FlowInfo, flowInfo )
   KEL_CHILDREN( Kel::Name, ServiceIntfSetInfo, serviceIntfSetInfo )
   /** How many flows and sets need a binding. */
   KEL_MAP( VniAndIntfForPolicyFragment, std::uint32_t, boundVni )
   /** The VLANs that the fragment's rules were built with. */
   KEL_MAP( Vxlan::VniExtOrNone, Bridging::VlanId, vlanForVni )
};
KEL_FACTORY( policyFragmentInfoFactory, PolicyFragmentInfo )

}  // namespace QorClient
