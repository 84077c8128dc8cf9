#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "live/WantedLines.h"

namespace Live {

/** A frame that nobody sends: programs tell what would become of it. */
struct Probe {
   /** A port's name, or the tunnel interface's. */
   std::string in;
   std::string from;
   std::string to;
   std::optional< int > vlan = {};
   /** Of one that comes through the tunnel. */
   std::optional< int > vni = {};
   /** "ip", "arp" or "ip6". */
   std::string kind = "ip";

   /** As options of trace-packet. */
   std::vector< std::string > options() const;
   /** As the switch's own tool takes it. */
   std::string flow( BridgeState const & bridge ) const;
};

/** Where copies leave, in words, such as "Ethernet5, tagged 200". */
using Exits = std::multiset< std::string >;

/** Those that trace-packet tells, in JSON. */
Exits exitsTold( std::string const & json );
/** Those that the switch's trace tells. `datapath` has the names of its ports by number. */
Exits exitsTraced( std::string const & trace, Probe const & probe, BridgeState const & bridge,
                   std::map< std::string, std::string > const & datapath );
/** The names of a datapath's ports by number. */
std::map< std::string, std::string > datapathPorts( std::string const & shown );

std::string wordsOf( Exits const & exits );

}  // namespace Live
