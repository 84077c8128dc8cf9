#pragma once

#include <cstdint>
#include <map>
#include <set>

#include "switch/openvswitch/Bridge.h"

namespace OpenVSwitch {

/** The next hops that the bridge has learnt from ARP. Nobody else is told of them: they are kept
 * for a switch that begins anew, and hears of them from the hosts in minutes only. */
class LearntNexthops {
 public:
   explicit LearntNexthops( Kel::Ptr< Bridge > bridge ) : bridge_( std::move( bridge ) ) {}

   /** The bridge is about to tell all that stand. */
   void beginReading() { told_.clear(); }
   /** A flow by which it has learnt a next hop has come, changed or gone. */
   void changed( OpenFlow::FlowUpdate const & update );
   /** All have been told. A switch that has begun anew is given the others. */
   void endReading( bool hasBegunAnew );

 private:
   using Address = std::uint32_t;

   Kel::Ptr< Bridge > bridge_;
   std::map< Address, OpenFlow::Flow > flows_;
   std::set< Address > told_;
};

}  // namespace OpenVSwitch
