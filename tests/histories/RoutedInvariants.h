#pragma once

#include <map>
#include <set>
#include <string>
#include <vector>

#include "scenario/Switch.h"

namespace Histories {

/** The VLAN of each VNI that has one, in the agent's eyes; empty while it is off. */
std::map< std::string, std::string > vlansOfVnis();

/**
 * What must hold of routed policy after every step. Four things of what the agent does depend on
 * the past, so this remembers as much of it as tells where they may be:
 *
 * - Flows of equal names share an entry, and members of equal addresses in two groups of a VRF an
 *   end point: whoever goes takes it along, and the others have theirs back at the next start.
 * - A member's state is kept under the VLAN of its report: when the VNI changes its VLAN, it stays
 *   as it was until the hardware reports the member anew.
 * - A report that changes its group in place counts for the old group until it comes anew.
 * - Of a group that wasn't configured when the groups' types came, no report is heeded until it
 *   comes anew.
 */
class RoutedInvariants {
 public:
   /** What doesn't hold, one line each. `started`: the agent has started since the last call. */
   std::vector< std::string > broken( Scenarios::Switch const & device, bool started );

   /** A start may change the entry of this flow, or this end point: it has had several users since
    *  the last one, or the flow names a VNI without VLAN and doesn't match on it. */
   bool isUnsettled( std::string const & key ) const {
      return contested_.contains( key ) || unbound_.contains( key );
   }

 private:
   class Check;
   using Users = std::map< std::string, std::set< std::string > >;

   bool up_ = false;
   bool hadTypes_ = false;
   Users users_;
   std::set< std::string > contested_;
   std::set< std::string > unbound_;
   std::map< std::string, std::string > vlans_;
   std::set< std::string > movedVnis_;
   std::map< std::string, Kel::String > reports_;
   std::set< std::string > regrouped_;
   std::set< std::string > unheardGroups_;
};

}  // namespace Histories
