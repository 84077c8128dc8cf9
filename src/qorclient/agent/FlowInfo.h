#pragma once

#include <cstdint>

#include "platform/kel/Entity.h"
#include "qorclient/agent/RuleKey.h"
#include "qorclient/agent/VniAndIntfForPolicyFragment.h"
#include "records/bridging/MacVlanPair.h"
#include "records/qor/PolicyFlowInfo.h"

namespace QorClient {

/** A rule of a flow. */
class RuleInfo : public Kel::KeyedEntity< RuleKey > {
   KEL_SHARED_ENTITY_OF( QorClient::RuleInfo, ::Kel::KeyedEntity< RuleKey > )
   KEL_KEY( RuleKey, ruleKey )
   KEL_SCALAR( Kel::String, ruleName )
   /** The users of the rule. */
   KEL_SCALAR( std::uint32_t, refCount )
   /** The flow table has an entry under `ruleName`. */
   KEL_SCALAR( bool, published )
   /** A value of Qor::FlowState. */
   KEL_SCALAR( std::uint32_t, ruleState )

   void refCountInc( std::uint32_t n ) { refCountIs( refCount() + n ); }
   void refCountDec( std::uint32_t n ) { refCountIs( refCount() - n ); }
};
KEL_FACTORY( ruleInfoFactory, RuleInfo )

/** What the agent remembers of a flow over a restart. */
class FlowInfo : public Kel::NamedEntity {
   KEL_SHARED_ENTITY( QorClient::FlowInfo )
   /** The configuration as it was acted on. */
   KEL_SCALAR( Qor::V1::PolicyFlowInfo, flowConfig )
   KEL_SCALAR( Kel::String, serviceIntfKey )
   KEL_SCALAR( bool, isInterceptIngress )
   KEL_CHILDREN( RuleKey, RuleInfo, ruleInfo )
   /** Fragment and flow, joined by "_"; the names of the rules begin with it. */
   KEL_SCALAR( Kel::String, rulePrefix )
   /** The intercepted hosts and the interface that their rules were built for; empty if none. */
   KEL_MAP( Bridging::MacVlanPair, Wirekit::IntfId, boundHost )
   KEL_MAP( VniAndIntfForPolicyFragment, bool, boundVni )
   // What the rules were built with.
   KEL_SCALAR( Bridging::VlanIdOrNone, nativeVlan )
   KEL_SCALAR( Bridging::VlanId, matchVlan )
   KEL_SCALAR( Bridging::VlanId, rewriteVlan )
};
KEL_FACTORY( flowInfoFactory, FlowInfo )

}  // namespace QorClient
