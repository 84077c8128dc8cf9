#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>

#include "platform/wirekit/IntfId.h"
#include "platform/wirekit/IpAddr.h"

namespace OpenVSwitch {

/** A port of the bridge as OpenFlow knows it. */
using PortNumber = std::uint32_t;

/** Of no port ever. */
inline constexpr PortNumber noPort = 0xffff;

/** A switchport. */
struct Port {
   PortNumber number = 0;
   /** The VLAN of untagged frames. */
   std::uint16_t nativeVlan = 1;
   /** Those that it carries. */
   std::set< std::uint16_t > vlans;

   friend bool operator==( Port const &, Port const & ) = default;
};

/** The tunnel interface, and its port. */
struct Tunnel {
   Wirekit::IntfId intf;
   PortNumber number = 0;

   friend bool operator==( Tunnel const &, Tunnel const & ) = default;
};

/** What the frames of the switch meet beside rules and hosts: which ports there are, which VLANs
 *  they carry, and where the VLANs go on. */
struct Topology {
   std::map< Wirekit::IntfId, Port > ports;
   std::optional< Tunnel > tunnel;
   /** The switch's own tunnel end point; zero for none. */
   Wirekit::Ip4Addr ownEndPoint;
   /** The VNI of each VLAN that has one. */
   std::map< std::uint16_t, std::uint32_t > vnis;
   /** The tunnel end points known for each VLAN. */
   std::map< std::uint16_t, std::set< Wirekit::Ip4Addr > > endPoints;

   /** The number of a port or of the tunnel; nothing for one that isn't on the bridge. */
   std::optional< PortNumber > numberOf( Wirekit::IntfId intf ) const;
   /** The interface with that number; the empty one for none. */
   Wirekit::IntfId intfOf( PortNumber number ) const;
   /** All VLANs that something carries. */
   std::set< std::uint16_t > vlans() const;

   friend bool operator==( Topology const &, Topology const & ) = default;
};

/** The ports that only one has, or that differ. */
std::set< Wirekit::IntfId > changedPorts( Topology const & before, Topology const & now );
/** The VLANs whose frames for all may go elsewhere. */
std::set< std::uint16_t > changedFloods( Topology const & before, Topology const & now );

}  // namespace OpenVSwitch
