#pragma once

#include <cstdint>
#include <optional>
#include <ostream>
#include <string>
#include <variant>
#include <vector>

#include "platform/kel/Value.h"
#include "platform/wirekit/IntfId.h"
#include "platform/wirekit/IpGenAddr.h"
#include "records/bridging/VlanId.h"

namespace Views {

/** A frame leaves at a port. */
struct PortExit {
   Wirekit::IntfId port;
   /** Absent for an untagged frame. */
   std::optional< Bridging::VlanId > vlan;

   friend auto operator<=>( PortExit const &, PortExit const & ) = default;
};
/** A frame leaves through the tunnel. */
struct TunnelExit {
   Wirekit::IpAddr vtep;
   std::uint32_t vni;

   friend auto operator<=>( TunnelExit const &, TunnelExit const & ) = default;
};
/** A frame goes to a next hop, of which the state doesn't say where it is. Of several next hops one
 *  gets the frame. */
struct NextHopExit {
   Wirekit::IpGenAddr address;

   friend auto operator<=>( NextHopExit const &, NextHopExit const & ) = default;
};
using Exit = std::variant< PortExit, TunnelExit, NextHopExit >;

/** What decided on the way of a frame. */
struct Step {
   /** A rule that is not in the hardware is told of where it would have matched. */
   enum class Kind { in, rule, inactive, note, learnt, host, flood, out, drop };
   Kind kind;
   std::string text;
   /** The row that decided; empty if there is none. */
   std::string path = {};
};

/** The way of one frame through the switch. */
struct PacketWalk {
   std::vector< Step > steps;
   /** Where copies leave, in the order of the steps. */
   std::vector< Exit > exits;

   /** Why nothing leaves; empty if something does. */
   std::string dropReason() const;
   /** A step a line. */
   void print( std::ostream & out ) const;
   /** The same for programs. */
   Kel::Value::Object members() const;
};

/** "Ethernet5, tagged 200", "VNI 20100 to 192.0.2.2", "next hop 10.0.0.1". */
std::string exitWords( Exit const & exit );

}  // namespace Views
