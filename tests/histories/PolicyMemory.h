#pragma once

#include <map>
#include <set>
#include <string>

#include "histories/L2RibMemory.h"
#include "histories/RuleCounts.h"
#include "records/qor/PolicyFragment.h"
#include "records/qor/PolicyFragmentStatus.h"
#include "scenario/Scenario.h"

namespace Histories {

/**
 * Which fragments stand otherwise than a start would make them, since what the agent does depends
 * on the past:
 *
 * - Flows that have, or had, one host: whichever goes takes the host's binding along.
 * - VNIs that two fragments, or both sides of one, have or had, also on the way from one step to
 *   the next: only the later of their events find their fragment.
 * - A flow that isn't between its fragment's two VNIs: it hears nothing of another VNI's VLAN, and
 *   loses its rules over that of a fragment's VNI that it doesn't use.
 * - A set whose VNI went and came back as it was: the set stays down.
 * - An interface that has left a set, on which a host of the fragment is known: its flow stays
 *   without rules until the host moves.
 * - An interface that has joined a set while a host's rules were there: they stay.
 * - A host that a start finds gone before it has read the host's flow: the rules stay.
 * - An interface whose native VLAN is not the one that the rules of a host on it were built with:
 *   a change between VLANs that the fragment doesn't use is not heeded, but seen by a start.
 * - A host that the peer has put on an interface without switch configuration: when that comes,
 *   nothing installs the host's flow before the host moves or the agent starts.
 */
class PolicyMemory {
 public:
   /** To be told of every step, a start with the hosts whose place it has written. */
   void observe( Scenarios::Switch const & device, Scenarios::Step const & step,
                 std::set< std::string > const & placed );
   /** Why a start may change the fragment's rules; empty when it may not. */
   std::string unsettled( std::string const & fragment ) const;
   /** The fragment has been away. */
   bool hasGone( std::string const & fragment ) const { return gone_.contains( fragment ); }
   /** The interface has left a set of the fragment. */
   bool hasLeft( std::string const & fragment, std::string const & intf ) const;
   /** The flow is reported as it was when a start found its host gone: nothing makes the words anew
    * when the host is back where its rules stand. */
   bool isUntoldOfReturn( std::string const & fragment, std::string const & flow ) const {
      return untold_.contains( fragment + "|" + flow );
   }
   /** Some host has been known on the interface. */
   bool wasWarm( std::string const & intf ) const { return warm_.contains( intf ); }

   /** A set of the fragment has been down. */
   bool hadSetDown( std::string const & fragment ) const { return setDown_.contains( fragment ); }
   RuleCounts const & counts() const { return counts_; }
   L2RibMemory const & l2Rib() const { return l2Rib_; }

 private:
   using Users = std::map< std::string, std::set< std::string > >;
   /** Notes which flows are not told of the hosts that are back for flows of the fragment. */
   void noteReturns( Qor::V1::ServicePolicyFragment const & fragment,
                     Kel::Ptr< Qor::V1::ServicePolicyFragmentStatus const > const & status,
                     std::set< std::string > const & returned );
   void mark( Users const & before, Users const & after, char const * why );

   Users hosts_;
   Users vnis_;
   /** The members of each fragment's sets, and all that ever left one. */
   Users members_;
   Users left_;
   /** By fragment. */
   Users lasting_;
   Users present_;
   std::set< std::string > lost_;
   /** Flows, each behind its fragment. */
   std::set< std::string > untold_;
   std::set< std::string > gone_;
   std::set< std::string > warm_;
   std::set< std::string > setDown_;
   /** The interface on which a bound host waits since it had no configuration, by flow and host. */
   std::map< std::string, std::string > unconfigured_;
   RuleCounts counts_;
   L2RibMemory l2Rib_;
};

}  // namespace Histories
