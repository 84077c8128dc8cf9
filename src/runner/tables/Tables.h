#pragma once

#include <ostream>
#include <string>
#include <vector>

#include "runner/Switch.h"
#include "runner/tables/TextTable.h"

namespace Runner {

/** The tables that `printTable` knows. */
std::vector< std::string > tableNames();

/** Prints one table of the switch's state for a person to read. */
void printTable( std::string const & name, Switch const & device, std::ostream & out );

/** Each flow of the policy, its state and the number of its rules. */
TextTable flowsTable( Switch const & device );
/** Each rule in the flow tables and the hardware's answer. */
TextTable rulesTable( Switch const & device );
/** Each host that a flow intercepts or that is known, where it is, and what it lacks. */
TextTable hostsTable( Switch const & device );
/** Each VNI that is needed or mapped, its VLAN and who needs it. */
TextTable vnisTable( Switch const & device );
/** Each group of routed traffic with its members. */
TextTable groupsTable( Switch const & device );
/** Each flow of routed traffic and its state. */
TextTable routedFlowsTable( Switch const & device );
/** What the platform can do. */
TextTable capabilityTable( Switch const & device );

/** Texts one after another with a comma between them. */
std::string joined( std::vector< std::string > const & texts );

}  // namespace Runner
