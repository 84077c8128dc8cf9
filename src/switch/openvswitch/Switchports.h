#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>

#include "records/bridging/Config.h"
#include "records/bridging/SwitchIntfConfig.h"
#include "switch/ovsdb/Bridge.h"

namespace OpenVSwitch {

/** The ports of a bridge by name, as its configuration has them. */
using BridgePorts = std::map< std::string, Ovsdb::BridgePort >;

/** The VLANs that are there by configuration: those that some port names, and VLAN 1. */
std::set< std::uint16_t > existingVlans( BridgePorts const & ports );
/** A port with neither a tag nor trunks carries all that are there, one with a tag alone just
 *  that one. */
std::set< std::uint16_t > configuredVlans( Ovsdb::BridgePort const & port,
                                           std::set< std::uint16_t > const & existing );
/** The VLAN of its untagged frames. */
std::uint16_t nativeVlan( Ovsdb::BridgePort const & port );
/** A port of several interfaces, of which frames would have to choose one. */
bool isBond( Ovsdb::BridgePort const & port );
/** Where hosts are: neither a tunnel nor a bond nor the bridge's own port. */
bool isSwitchport( Ovsdb::BridgePort const & port, std::string const & bridge );

/** Has the state say which switchports there are, with their VLANs, and nothing else. */
void publishSwitchports( BridgePorts const & ports, std::string const & bridge,
                         Bridging::Config & config,
                         Bridging::SwitchIntfConfigDir & switchIntfConfigDir );

}  // namespace OpenVSwitch
