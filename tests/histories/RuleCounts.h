#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>

#include "scenario/Switch.h"

namespace Histories {

/**
 * Rules that are counted otherwise than they have users, since what is counted depends on the order
 * in which things come:
 *
 * - An egress rule of too few: the reinstallation of a flow over a native VLAN takes its references
 *   off twice, and a host that comes while the rule can't be built isn't counted. It may go with a
 *   host that isn't the last, until count and hosts are equal again.
 * - An egress rule of too many: what its flow's own binding sets off counts its host already, and
 *   then the installation of the flow does.
 * - An ARP rule, once the need for such rules has changed: rule and count stay as they are, and
 *   later ones are counted from there.
 */
class RuleCounts {
 public:
   /** To be told of every step. */
   void observe( Scenarios::Switch const & device );

   bool isTooFew( std::string const & rule ) const { return few_.contains( rule ); }
   bool isTooMany( std::string const & rule ) const { return many_.contains( rule ); }
   /** Some egress rule is whose name begins so. */
   bool isMiscounted( std::string const & beginning ) const;
   /** An egress flow that has lost a rule and kept another, which is not reported anew. */
   bool isThinned( std::string const & fragment, std::string const & flow ) const {
      return thinned_.contains( fragment + "|" + flow );
   }
   /** Of the ARP rule of a fragment. */
   bool isStale( std::string const & fragment ) const { return stale_.contains( fragment ); }

 private:
   std::optional< bool > arpNeeded_;
   std::set< std::string > mapped_;
   /** The egress flows as they are configured. */
   std::map< std::string, std::string > flows_;
   /** The interfaces of their rules. */
   std::map< std::string, std::set< std::string > > intfs_;
   std::set< std::string > thinned_;
   std::set< std::string > few_;
   std::set< std::string > many_;
   std::set< std::string > stale_;
};

}  // namespace Histories
