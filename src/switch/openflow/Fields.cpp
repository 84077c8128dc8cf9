#include "switch/openflow/Fields.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <iterator>

namespace OpenFlow {

namespace {

struct Known {
   Field field;
   char const * name;
};

constexpr Known known[] = {
   { Fields::inPort, "in_port" },
   { Fields::ethDst, "dl_dst" },
   { Fields::ethSrc, "dl_src" },
   { Fields::ethType, "dl_type" },
   { Fields::vlanVid, "vlan_vid" },
   { Fields::ipProtocol, "nw_proto" },
   { Fields::ip4Src, "nw_src" },
   { Fields::ip4Dst, "nw_dst" },
   { Fields::tcpSrc, "tp_src" },
   { Fields::tcpDst, "tp_dst" },
   { Fields::udpSrc, "tp_src" },
   { Fields::udpDst, "tp_dst" },
   { Fields::arpOperation, "arp_op" },
   { Fields::arpSpa, "arp_spa" },
   { Fields::arpTpa, "arp_tpa" },
   { Fields::ip6Src, "ipv6_src" },
   { Fields::ip6Dst, "ipv6_dst" },
   { Fields::tunId, "tun_id" },
   { Fields::tunDst, "tun_dst" },
   { Fields::packetType, "packet_type" },
   { Fields::loadInPort, "NXM_OF_IN_PORT" },
   { Fields::loadEthDst, "NXM_OF_ETH_DST" },
   { Fields::loadEthSrc, "NXM_OF_ETH_SRC" },
   { Fields::loadVlanTci, "NXM_OF_VLAN_TCI" },
   { Fields::loadArpSpa, "NXM_OF_ARP_SPA" },
   { Fields::loadArpSha, "NXM_NX_ARP_SHA" },
};

}  // namespace

std::string nameOf( Field field ) {
   auto const found = std::ranges::find( known, field, &Known::field );
   if ( found != std::end( known ) ) {
      return found->name;
   }
   if ( field.oxmClass == 1 && field.number < 16 ) {
      return "reg" + std::to_string( field.number );
   }
   std::array< char, 32 > text{};
   std::snprintf( text.data(), text.size(), "field(%#x,%u)", unsigned{ field.oxmClass },
                  unsigned{ field.number } );
   return text.data();
}

}  // namespace OpenFlow
