#pragma once

#include <string>
#include <vector>

#include "platform/corestore/EntityManager.h"
#include "views/tables/TextTable.h"

namespace Views {

/** The tables that `tableOf` knows. */
std::vector< std::string > tableNames();

/** One table of the switch's state. */
TextTable tableOf( std::string const & name, Corestore::EntityManager const & em );
/** Those of its rows that are wanted; `found` says how many there are. */
TextTable tableOf( std::string const & name, Corestore::EntityManager const & em,
                   Choice const & choice );

/** Each flow of the policy, its state and the number of its rules. */
TextTable flowsTable( Corestore::EntityManager const & em, Choice const & choice = {} );
/** Each rule in the flow tables and the hardware's answer. */
TextTable rulesTable( Corestore::EntityManager const & em, Choice const & choice = {} );
/** Each host that a flow intercepts or that is known, where it is, and what it waits for. */
TextTable hostsTable( Corestore::EntityManager const & em, Choice const & choice = {} );
/** Each port, the VLANs that it carries, and what is there. */
TextTable portsTable( Corestore::EntityManager const & em, Choice const & choice = {} );
/** Each host at a port, and how it is known. */
TextTable learntTable( Corestore::EntityManager const & em, Choice const & choice = {} );
/** Each end point behind each tunnel, and what is known to be there. */
TextTable tunnelsTable( Corestore::EntityManager const & em, Choice const & choice = {} );
/** Each VNI that is needed or mapped, its VLAN and who needs it. */
TextTable vnisTable( Corestore::EntityManager const & em );
/** Each group of routed traffic with its members and their VLANs. */
TextTable groupsTable( Corestore::EntityManager const & em );
/** Each flow of routed traffic and its state. */
TextTable routedFlowsTable( Corestore::EntityManager const & em );
/** What the platform can do. */
TextTable capabilityTable( Corestore::EntityManager const & em );

}  // namespace Views
