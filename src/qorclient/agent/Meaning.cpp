#include "records/catalog/Meaning.h"
#include "qorclient/agent/Status.h"

namespace Catalog {

namespace {

bool const known = meaningsAre( [] {
   return Meanings{
      meaningOf< QorClient::Status >(
         "What the agent must remember over a restart, and the working table of the datapath",
         { { "active", "the service is on: the machines of the policy exist" },
           { "resyncInProgress", "set for the time after a restart when old state may be stale" },
           { "myVtepAddr", "the address of the local tunnel end point" },
           { "cachedPeerLinkIntfId", "the MLAG peer link; empty for none" },
           { "vlanForVni", "the VLAN of each VNI that is asked for" },
           { "boundVni", "the VNIs that fragments need, and on which interface" },
           { "boundHost", "the hosts that some flow intercepts" },
           { "warmHost", "the hosts whose interface is known" },
           { "warmHostRefCount", "how many of them are behind an interface" },
           { "flowNameForRuleName", "the flow of each rule" },
           { "fragmentNameForRuleName", "the fragment of each rule" },
           { "ruleStateForRuleName", "the state of each rule", "Qor::FlowState" },
           { "platformFlowRefCount", "by fragment, how many rules need its ARP rule" },
           { "policyFragmentInfo", "what is remembered of each fragment" } } ),
      meaningOf< QorClient::VniAndIntfForPolicyFragment >(
         "A VNI that a fragment needs on an interface",
         { { "vni", "the VNI" },
           { "intfId", "the interface; empty for a need of the VNI as such" },
           { "fragmentName", "the fragment" } } ),
      meaningOf< QorClient::PolicyFragmentInfo >(
         "What the agent remembers of a fragment",
         { { "flowInfo", "its flows" },
           { "serviceIntfSetInfo", "its sets of service interfaces" },
           { "boundVni", "how many flows and sets need a binding" },
           { "vlanForVni", "the VLANs that its rules were built with" } } ),
      meaningOf< QorClient::ServiceIntfSetInfo >(
         "What the agent remembers of a set of service interfaces",
         { { "boundVni", "the bindings that the set holds" } } ),
      meaningOf< QorClient::FlowInfo >(
         "What the agent remembers of a flow",
         { { "flowConfig", "the configuration as it was acted on" },
           { "serviceIntfKey", "the set that it goes through" },
           { "isInterceptIngress", "it intercepts its host where the traffic enters" },
           { "ruleInfo", "its rules" },
           { "rulePrefix",
             "fragment and flow, joined by \"_\"; the names of the rules begin with it" },
           { "boundHost",
             "the intercepted hosts and the interface that their rules were built for; empty if "
             "none" },
           { "boundVni", "the bindings that the flow holds" },
           { "nativeVlan", "the native VLAN that its rules were built with" },
           { "matchVlan", "the matched VLAN that its rules were built with" },
           { "rewriteVlan", "the new VLAN that its rules were built with" } } ),
      meaningOf< QorClient::RuleKey >(
         "The place of a rule among those of its flow",
         { { "inIntf", "the interface of arrival; empty for any" },
           { "outIntf", "the interface to leave by; empty for any" },
           { "matchVlanTag", "false for the rule that matches untagged frames" } } ),
      meaningOf< QorClient::RuleInfo >(
         "A rule of a flow", { { "ruleName", "its name in the flow table" },
                               { "refCount", "how many use it" },
                               { "published", "the flow table has an entry under its name" },
                               { "ruleState", "its state", "Qor::FlowState" } } ),
   };
} );

}  // namespace

}  // namespace Catalog
