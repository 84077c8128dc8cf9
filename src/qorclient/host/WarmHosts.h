#pragma once

#include "qorclient/agent/Status.h"

/* The hosts whose interface is known, and their number on each interface, as both machines keep
 * them that learn where hosts are. */

namespace QorClient {

/** Enters a host and counts it there. What an earlier interface of it counted is left. */
void addWarmHost( Status & agentStatus, Bridging::MacVlanPair const & host, Wirekit::IntfId intf );
/** Harmless for an unknown host, whose empty interface is then counted down. */
void removeWarmHost( Status & agentStatus, Bridging::MacVlanPair const & host );
/** One host less on the interface; the last takes the count along. */
void uncountWarmHost( Status & agentStatus, Wirekit::IntfId intf );

}  // namespace QorClient
