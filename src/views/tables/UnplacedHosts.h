#pragma once

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "platform/corestore/EntityManager.h"
#include "qorclient/agent/Status.h"

namespace Views {

/** Flows by their paths. */
using Flows = std::vector< std::string >;

/** Hosts of intercept flows, each with its VNI. */
using UnplacedHosts = std::map< std::pair< Wirekit::EthAddr, Vxlan::VniOrNone >, Flows >;

/** Those that the agent doesn't look for yet. */
UnplacedHosts unplacedHosts( Corestore::EntityManager const & em, QorClient::Status const & agent );

/** The words of the state of one, "waiting: " or, without a VNI, "rejected: ". */
std::string whyUnplaced( QorClient::Status const & agent, Vxlan::VniOrNone vni );

}  // namespace Views
