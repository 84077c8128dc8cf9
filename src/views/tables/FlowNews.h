#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "platform/corestore/EntityManager.h"
#include "views/tables/Words.h"

/* How single flows and rules stand, for whoever tells of them one by one. */

namespace Views {

struct FlowNews {
   std::string state;
   std::string details;
   /** Those that the flow has in the flow table, and those of them that the hardware has. Both are
    * 0 for a routed flow, which has one under its own name. */
   std::uint64_t rules = 0;
   std::uint64_t programmed = 0;
};
/** Nothing for a flow of which the agent reports nothing. */
std::optional< FlowNews > policyFlowNews( Corestore::EntityManager const & em,
                                          std::string const & fragment, std::string const & flow );
std::optional< FlowNews > routedFlowNews( Corestore::EntityManager const & em,
                                          std::string const & vrf, std::string const & flow );

struct RuleNews {
   /** Of one that a fragment's flows share, the fragment alone; of one that is nobody's, nothing.
    */
   std::string fragment;
   std::string flow;
   HardwareAnswer answer;
};
/** Of a rule of the policy. */
RuleNews ruleNews( Corestore::EntityManager const & em, std::string const & rule );

}  // namespace Views
