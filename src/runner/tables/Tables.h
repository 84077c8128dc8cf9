#pragma once

#include <string>
#include <vector>

#include "runner/Switch.h"
#include "runner/tables/TextTable.h"

namespace Runner {

/** The tables that `tableOf` knows. */
std::vector< std::string > tableNames();

/** One table of the switch's state. */
TextTable tableOf( std::string const & name, Switch const & device );

/** Each flow of the policy, its state and the number of its rules. */
TextTable flowsTable( Switch const & device );
/** Each rule in the flow tables and the hardware's answer. */
TextTable rulesTable( Switch const & device );
/** Each host that a flow intercepts or that is known, where it is, and what it waits for. */
TextTable hostsTable( Switch const & device );
/** Each VNI that is needed or mapped, its VLAN and who needs it. */
TextTable vnisTable( Switch const & device );
/** Each group of routed traffic with its members and their VLANs. */
TextTable groupsTable( Switch const & device );
/** Each flow of routed traffic and its state. */
TextTable routedFlowsTable( Switch const & device );
/** What the platform can do. */
TextTable capabilityTable( Switch const & device );

}  // namespace Runner
