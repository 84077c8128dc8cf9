#pragma once

#include <set>

#include "records/slab/BridgingStatus.h"
#include "switch/openflow/Flow.h"
#include "switch/openvswitch/Bridge.h"

namespace OpenVSwitch {

/** The hosts that the bridge has learnt, as the forwarding table tells them: where each is, and
 *  how often it has moved. */
class LearntHosts {
 public:
   LearntHosts( Kel::Ptr< Slab::Bridging::Status > status, Kel::Ptr< Bridge > bridge );

   /** The bridge is about to tell all that stand. */
   void beginReading();
   /** A flow by which it has learnt a host has come, changed or gone. */
   void changed( OpenFlow::FlowUpdate const & update );
   /** All have been told. Those that were not are gone; but a switch that has begun anew learns
    *  them again, so that nobody is forgotten for its sake. */
   void endReading( bool hasBegunAnew );

 private:
   /** Hosts are learnt nowhere else than at ports that are there. */
   void handleTopology( Topology const & before );

   Kel::Ptr< Slab::Bridging::Status > status_;
   Kel::Ptr< Bridge > bridge_;
   std::set< Bridging::HostKey > told_;
   bool reading_ = false;
};

}  // namespace OpenVSwitch
