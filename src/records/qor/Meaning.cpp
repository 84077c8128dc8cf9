#include "records/catalog/Meaning.h"
#include "records/qor/PolicyFragment.h"
#include "records/qor/PolicyFragmentStatus.h"

namespace Catalog {

namespace {

bool const known = meaningsAre( [] {
   return Meanings{
      meaningOf< Qor::V1::QorPolicyFragment >( "The policy of one L2 service",
                                               { { "policyFragment", "the fragments" } } ),
      meaningOf< Qor::V1::ServicePolicyFragment >(
         "One service, inserted between an original VNI and a service VNI",
         { { "originalVni", "the VNI of the traffic before the service, on the far side" },
           { "serviceVni", "the VNI of the service segment, on the near side" },
           { "flow", "what is sent through the service, and back" },
           { "serviceIntfSet", "the service's interfaces, in the sets \"near\" and \"far\"" },
           { "grCookie", "what the controller wants kept over a graceful reboot" } } ),
      meaningOf< Qor::V1::ServiceIntfSet >(
         "Service interfaces", { { "intf", "the members, by name; only the keys count" } } ),
      meaningOf< Qor::V1::PolicyFlowInfo >(
         "A flow of a policy", { { "flowName", "its key" },
                                 { "match", "what it matches" },
                                 { "action", "what is done" },
                                 { "interceptPoint", "where its traffic is caught" },
                                 { "serviceIntfKey",
                                   "the set of service interfaces that it goes through; empty for "
                                   "a flow that intercepts a host" } } ),
      meaningOf< Qor::V1::MatchFields >(
         "What a flow matches; only addresses and VNI are acted on, the rest is compared",
         { { "srcMac", "zero for any; the host of a flow that intercepts one" },
           { "dstMac", "zero for any" },
           { "srcIp", "not acted on" },
           { "dstIp", "not acted on" },
           { "ipProtocol", "not acted on" },
           { "l4SrcPort", "not acted on" },
           { "l4DstPort", "not acted on" },
           { "vni", "the VNI of the traffic" },
           { "text", "not acted on" } } ),
      meaningOf< Qor::V1::ActionFields >(
         "What a flow does; only the VNI is acted on, the rest is compared",
         { { "type", "not acted on" },
           { "text", "not acted on" },
           { "vni", "the traffic is rewritten to the VLAN of this VNI" },
           { "ip", "not acted on" } } ),
      numbersOf< Qor::V1::InterceptPoint >(
         "Where the traffic of a flow is caught; any other number ends the agent",
         { number( Qor::V1::InterceptPoint::interceptIngress, "ingress",
                   "where it enters the switch" ),
           number( Qor::V1::InterceptPoint::interceptEgress, "egress",
                   "where it leaves the switch" ) } ),
      numbersOf< Qor::FlowState >(
         "The state of a flow and of each of its rules",
         { number( Qor::FlowState::flowInitial, "flowInitial",
                   "not programmed; the details say what it waits for" ),
           number( Qor::FlowState::flowWaiting, "flowWaiting",
                   "published; the hardware hasn't answered yet" ),
           number( Qor::FlowState::flowProgrammed, "flowProgrammed", "the hardware has the rule" ),
           number( Qor::FlowState::flowRejected, "flowRejected", "it can't be programmed" ) } ),
      meaningOf< Qor::V1::GracefulRebootCookie >(
         "What the controller wants kept over a graceful reboot",
         { { "interceptInfo", "what is kept for each address" },
           { "isServiceVtep", "copied, not acted on" } } ),
      meaningOf< Qor::V1::InterceptInfoCookie >(
         "What is kept for one address",
         { { "ipAddr", "its key" }, { "cookie", "the controller's own" } } ),
      meaningOf< Qor::V1::QorPolicyFragmentStatus >(
         "The state of the L2 policy, for the controller",
         { { "policyFragment", "a row a fragment" } } ),
      meaningOf< Qor::V1::ServicePolicyFragmentStatus >(
         "What became of one fragment",
         { { "originalVni", "the original VNI that was last taken over" },
           { "serviceVni", "the service VNI that was last taken over" },
           { "flowStatus", "what became of its flows" },
           { "grCookie", "the copy that is kept over a graceful reboot" } } ),
      meaningOf< Qor::V1::PolicyFlowStatus >(
         "What became of a flow, for operators",
         { { "flowName", "its key" },
           { "flowState", "the state" },
           { "flowStateDetails",
             "the state in words: what the flow waits for, or why it is rejected" },
           { "hostMac", "the host of a programmed flow that intercepts one; else zero" },
           { "hostMoveCount", "the host's move count at that moment" } } ),
   };
} );

}  // namespace

}  // namespace Catalog
