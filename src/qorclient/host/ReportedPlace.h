#pragma once

#include "qorclient/agent/QorClientLocalTypes.h"
#include "qorclient/agent/Status.h"
#include "records/bridging/Config.h"
#include "records/bridging/EntryType.h"
#include "records/bridging/SwitchIntfConfig.h"

/* How a report of a host is judged: by the tracker, and by whoever explains what it does. */

namespace QorClient {

/** What a reported interface is for a host. The first that holds counts, in this order. */
enum class ReportedPlace { none, serviceIntf, outsideVlan, withoutConfig, peerLink, usable };

ReportedPlace reportedPlace( Status const & agentStatus, Bridging::Config const & bridgingConfig,
                             Bridging::SwitchIntfConfigDir const & switchIntfConfigDir,
                             Bridging::VlanId vlan, Wirekit::IntfId intf );

/** Whether some fragment has bound a VNI on the interface, as a member of a set. */
bool isServiceIntf( Status const & agentStatus, Wirekit::IntfId intf );

/** Whether a forwarding entry of that type tells where a host is: learnt locally or on the peer.
 *  What an absent entry reads as does too; its empty interface then is no place. */
bool isLearntHost( Bridging::EntryType entryType );

}  // namespace QorClient
