#pragma once

#include <cstdint>
#include <vector>

#include "platform/wirekit/EthAddr.h"
#include "qorclient/flowtable/TrafficStream.h"
#include "switch/openflow/Flow.h"

namespace OpenVSwitch {

/** The number of a group in the registers of a frame, never zero; the same in each process. */
std::uint32_t groupNumber( Kel::String const & group );

/** A routed frame from or to an end point is one of its group; and the end point may be a next hop
 *  itself. */
std::vector< OpenFlow::Flow > endPointFlows( OpenFlowTable::TrafficStreamEndPointId const & id,
                                             Kel::String const & group,
                                             Wirekit::EthAddr const & virtualRouterMac );
/** A frame that goes to a next hop; one whose next hop nobody knows goes nowhere. */
std::vector< OpenFlow::Flow > redirectFlows( Wirekit::EthAddr const & virtualRouterMac );

}  // namespace OpenVSwitch
