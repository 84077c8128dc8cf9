#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "platform/corestore/EntityManager.h"

namespace Web {

/** The state in numbers. */
struct Counts {
   explicit Counts( Corestore::EntityManager const & em );

   /** Flows of the policy by the word of their state, and routed ones. */
   std::map< std::string, std::uint64_t > flows;
   std::map< std::string, std::uint64_t > routedFlows;
   std::uint64_t rules = 0;
   std::uint64_t routedRules = 0;
   /** Rules, groups and end points that the hardware has refused, by its reason. */
   std::map< std::string, std::uint64_t > refused;
   /** Hosts that flows intercept, with and without a place. */
   std::uint64_t hostsKnown = 0;
   std::uint64_t hostsWaiting = 0;
   /** VNIs that someone needs and that have no VLAN. */
   std::uint64_t vnisWaiting = 0;
   bool active = false;
};

}  // namespace Web
