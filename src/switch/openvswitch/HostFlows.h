#pragma once

#include <optional>
#include <string_view>

#include "platform/kel/String.h"
#include "platform/wirekit/IpAddr.h"
#include "records/bridging/MacVlanPair.h"
#include "switch/openflow/Flow.h"
#include "switch/openvswitch/Topology.h"

namespace OpenVSwitch {

/** A host as a key of flows. */
Kel::String hostKey( Bridging::MacVlanPair const & host );
Bridging::MacVlanPair hostOf( Kel::String const & key );

/** A host that is at a port, whatever was learnt. */
OpenFlow::Flow offeredHostFlow( Bridging::MacVlanPair const & host, PortNumber port );
/** A host behind a tunnel end point. */
OpenFlow::Flow remoteHostFlow( Bridging::MacVlanPair const & host, Wirekit::Ip4Addr endPoint,
                               PortNumber tunnel );
/** The flow by which the switch learns a host, as it makes it itself. */
OpenFlow::Flow learntHostFlow( Bridging::MacVlanPair const & host, PortNumber port,
                               std::uint16_t ageing );

/** A host that the switch has learnt, and where; nothing for any other flow. */
struct LearntHost {
   Bridging::MacVlanPair host;
   PortNumber port = 0;
};
std::optional< LearntHost > learntHostOf( OpenFlow::Flow const & flow );

}  // namespace OpenVSwitch
