#pragma once

#include <cstdint>
#include <vector>

#include "switch/openflow/Flow.h"
#include "switch/openvswitch/Topology.h"

namespace OpenVSwitch {

/** How long a host that is silent stays learnt, in seconds. */
using Ageing = std::uint16_t;

/** The steps of the pipeline that hang on no port, host or rule. */
std::vector< OpenFlow::Flow > frameFlows( Ageing ageing );
/** Arrival and departure at a port. */
std::vector< OpenFlow::Flow > portFlows( Port const & port );
/** The same at the tunnel. */
std::vector< OpenFlow::Flow > tunnelFlows( Topology const & topology );
/** A frame in a VLAN that is for all, or for nobody known. */
std::vector< OpenFlow::Flow > floodFlows( Topology const & topology, std::uint16_t vlan );

}  // namespace OpenVSwitch
