#include "qorclient/host/WarmHosts.h"

namespace QorClient {

void addWarmHost( Status & agentStatus, Bridging::MacVlanPair const & host, Wirekit::IntfId intf ) {
   agentStatus.warmHostIs( host, intf );
   agentStatus.warmHostRefCountIs( intf, agentStatus.warmHostRefCount( intf ) + 1 );
}

void removeWarmHost( Status & agentStatus, Bridging::MacVlanPair const & host ) {
   Wirekit::IntfId const intf = agentStatus.warmHost( host );
   agentStatus.warmHostDel( host );
   uncountWarmHost( agentStatus, intf );
}

void uncountWarmHost( Status & agentStatus, Wirekit::IntfId intf ) {
   std::uint32_t const count = agentStatus.warmHostRefCount( intf );
   if ( count > 1 ) {
      agentStatus.warmHostRefCountIs( intf, count - 1 );
   } else {
      agentStatus.warmHostRefCountDel( intf );
   }
}

}  // namespace QorClient
