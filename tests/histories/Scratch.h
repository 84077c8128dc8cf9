#pragma once

#include <map>
#include <string>
#include <vector>

#include "histories/PolicyMemory.h"
#include "histories/RoutedInvariants.h"
#include "scenario/Switch.h"

namespace Histories {

/**
 * The state of a switch, to compare with that of one which is given the same inputs at once. The
 * other knows where the hosts are, too, since the agent goes on from there for as long as it lives.
 */
class Scratch {
 public:
   /** `policy` and `routed` have been told of every step. */
   Scratch( Scenarios::Switch const & device, PolicyMemory policy, RoutedInvariants routed );

   /** What differs, a line each, but for what the past may have made so. No switch stands. */
   std::vector< std::string > differences() const;

 private:
   Kel::Value const state_;
   PolicyMemory const policy_;
   RoutedInvariants const routed_;
   std::map< std::string, std::string > const vlans_;
   Kel::Value::Object inputs_;
   /** What the hardware has answered for the rules, which it does when they stand. */
   Kel::Value::Object answers_;
};

}  // namespace Histories
