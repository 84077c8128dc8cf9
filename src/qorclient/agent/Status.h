#pragma once

#include <cstdint>

#include "platform/kel/Entity.h"
#include "platform/wirekit/IntfId.h"
#include "platform/wirekit/IpAddr.h"
#include "qorclient/agent/PolicyFragmentInfo.h"
#include "qorclient/agent/VniAndIntfForPolicyFragment.h"
#include "records/bridging/MacVlanPair.h"
#include "records/vxlan/Vni.h"

namespace QorClient {

/** The groups in which the agent asks for bindings. */
struct BindingVni {
   Vxlan::VniExtOrNone operator()( VniAndIntfForPolicyFragment const & binding, bool ) const {
      return binding.vni;
   }
};
struct BindingIntf {
   Wirekit::IntfId operator()( VniAndIntfForPolicyFragment const & binding, bool ) const {
      return binding.intfId;
   }
};

/** The group in which it counts hosts. */
struct IntfAndVlan {
   Wirekit::IntfId intfId;
   Bridging::VlanId vlanId;

   KEL_RECORD( IntfAndVlan, intfId, vlanId )
   std::size_t hash() const { return intfId.hash() ^ vlanId.value(); }
};
struct HostPlace {
   IntfAndVlan operator()( Bridging::MacVlanPair const & host, Wirekit::IntfId intfId ) const {
      return { intfId, host.vlanId };
   }
};

/** What the agent must remember over a restart, and the working table of the datapath. */
class Status : public Kel::NamedEntity {
   KEL_SHARED_ENTITY( QorClient::Status )
   /** The service is on: policy state machines exist. */
   KEL_SCALAR( bool, active )
   /** Set for the time after a restart when old state may be stale. */
   KEL_SCALAR( bool, resyncInProgress )
   KEL_SCALAR( Wirekit::IpAddr, myVtepAddr )
   /** The MLAG peer link; empty for none. */
   KEL_SCALAR( Wirekit::IntfId, cachedPeerLinkIntfId )
   KEL_MAP( Vxlan::VniExtOrNone, Bridging::VlanId, vlanForVni )
   /** The bindings that fragments want. */
   KEL_INDEXED_MAP( VniAndIntfForPolicyFragment, bool, boundVni,
                    Kel::KeyIndex< VniAndIntfForPolicyFragment, bool, BindingVni >,
                    Kel::KeyIndex< VniAndIntfForPolicyFragment, bool, BindingIntf > )
   /** The hosts that some flow intercepts. */
   KEL_MAP( Bridging::MacVlanPair, bool, boundHost )
   /** The hosts whose interface is known. */
   KEL_INDEXED_MAP( Bridging::MacVlanPair, Wirekit::IntfId, warmHost,
                    Kel::CountIndex< Bridging::MacVlanPair, Wirekit::IntfId, HostPlace > )
   KEL_MAP( Wirekit::IntfId, std::uint32_t, warmHostRefCount )
   KEL_MAP( Kel::String, Kel::String, flowNameForRuleName )
   KEL_MAP( Kel::String, Kel::String, fragmentNameForRuleName )
   /** Values of Qor::FlowState. */
   KEL_MAP( Kel::String, std::uint32_t, ruleStateForRuleName )
   /** By fragment, how many rules need its ARP rule. */
   KEL_MAP( Kel::String, std::uint32_t, platformFlowRefCount )
   KEL_CHILDREN( Kel::String, PolicyFragmentInfo, policyFragmentInfo )
};
KEL_FACTORY( statusFactory, Status )

}  // namespace QorClient
