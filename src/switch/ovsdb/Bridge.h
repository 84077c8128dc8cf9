#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace Ovsdb {

struct BridgeInterface {
   std::string name;
   /** Empty for a device of the system, "internal", "vxlan", "patch". */
   std::string type;
   /** For a tunnel "remote_ip", "key", "local_ip". */
   std::map< std::string, std::string > options;
   /** Its number in flows, that of the local port for the bridge's own; none while the switch
    *  doesn't have it. */
   std::optional< std::uint32_t > ofport;
   /** Why the switch doesn't have it. */
   std::string error;

   friend bool operator==( BridgeInterface const &, BridgeInterface const & ) = default;
};

struct BridgePort {
   std::string name;
   /** In the order of their names; several for a bond. */
   std::vector< BridgeInterface > interfaces;
   /** "access", "trunk", "native-tagged", "native-untagged", "dot1q-tunnel"; empty where it follows
    *  from the rest. */
   std::string vlanMode;
   std::optional< std::uint16_t > tag;
   /** Empty for all of them. */
   std::set< std::uint16_t > trunks;

   friend bool operator==( BridgePort const &, BridgePort const & ) = default;
};

struct FlowTable {
   std::string name;
   std::optional< std::uint64_t > flowLimit;
   /** "refuse", "evict" or empty. */
   std::string overflowPolicy;

   friend bool operator==( FlowTable const &, FlowTable const & ) = default;
};

/** A bridge as the switch is asked to have it, and the numbers that the switch gives its ports. */
struct Bridge {
   bool exists = false;
   std::string datapathType;
   std::string failMode;
   std::set< std::string > protocols;
   std::map< std::uint32_t, FlowTable > flowTables;
   /** By name; the bridge's own port is among them. */
   std::map< std::string, BridgePort > ports;
   /** Counts up when the daemon has done what the database said. */
   std::uint64_t applied = 0;

   friend bool operator==( Bridge const &, Bridge const & ) = default;
};

}  // namespace Ovsdb
