#pragma once

#include <cstdint>
#include <optional>

#include "platform/wirekit/EthAddr.h"
#include "platform/wirekit/IntfId.h"
#include "platform/wirekit/IpGenAddr.h"

namespace Views {

namespace EtherType {
inline constexpr std::uint16_t ip4 = 0x0800;
inline constexpr std::uint16_t arp = 0x0806;
inline constexpr std::uint16_t ip6 = 0x86dd;
}  // namespace EtherType

/** A frame as it enters the switch. */
struct Frame {
   /** A port, or the tunnel interface. */
   Wirekit::IntfId in;
   Wirekit::EthAddr from;
   Wirekit::EthAddr to;
   /** Of its tag, 0 for one that has a priority alone; absent without a tag. */
   std::optional< std::uint16_t > vlan = {};
   /** Of a frame that comes through the tunnel. */
   std::optional< std::uint32_t > vni = {};
   std::uint16_t etherType = EtherType::ip4;
   /** What isn't told here matches no rule that asks for it. */
   Wirekit::IpGenAddr ipFrom = {};
   Wirekit::IpGenAddr ipTo = {};
   std::optional< std::uint8_t > protocol = {};
   std::optional< std::uint16_t > fromPort = {};
   std::optional< std::uint16_t > toPort = {};

   bool isUntagged() const { return vlan.value_or( 0 ) == 0; }
   bool isIp() const { return etherType == EtherType::ip4 || etherType == EtherType::ip6; }
   /** Of its ether type. */
   bool hasAddresses() const {
      return etherType == EtherType::ip4 ? ipFrom.isV4() && ipTo.isV4()
                                         : isIp() && ipFrom.isV6() && ipTo.isV6();
   }
};

}  // namespace Views
