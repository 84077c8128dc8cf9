#pragma once

#include <map>

#include "platform/corestore/EntityManager.h"
#include "records/vxlan/VtiStatus.h"
#include "views/tables/PortFacts.h"

namespace Views {

/** What the VXLAN controller says of another switch. */
struct EndPoint {
   std::uint64_t hosts = 0;
   VlanNumbers vnis = {};
};

/** By address, with this switch's own ones. */
std::map< Wirekit::IpAddr, EndPoint > endPointsOf( Corestore::EntityManager const & em );

/** Whether a tunnel leads to an end point: not to itself, nor to none. */
bool isBehind( Vxlan::VtiStatus const & tunnel, Wirekit::IpAddr endPoint );

}  // namespace Views
