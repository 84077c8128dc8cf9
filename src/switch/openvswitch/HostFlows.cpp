#include "switch/openvswitch/HostFlows.h"

#include <charconv>
#include <string>

#include "switch/openvswitch/Tables.h"

namespace OpenVSwitch {

using Bridging::MacVlanPair;
using OpenFlow::Actions;
using OpenFlow::Flow;
using OpenFlow::Match;

namespace {

constexpr std::uint16_t usual = 10;
/** The number of a VLAN without the mark of a tag, which the switch does not learn. */
constexpr std::uint64_t vlanNumber = 0xfff;
constexpr unsigned portBits = 16;

Flow hostFlow( std::uint8_t table, MacVlanPair const & host, Actions actions ) {
   return { .table = table,
            .priority = usual,
            .match = Match().vlan( host.vlanId.value() ).ethDst( host.mac ),
            .actions = std::move( actions ) };
}

}  // namespace

Kel::String hostKey( MacVlanPair const & host ) {
   return Kel::String::concat(
      { std::to_string( host.vlanId.value() ), " ", host.mac.stringValue() } );
}

MacVlanPair hostOf( Kel::String const & key ) {
   std::uint16_t vlan = 0;
   char const * const end = key.view().data() + key.size();
   char const * const space = std::from_chars( key.view().data(), end, vlan ).ptr;
   auto const mac = Wirekit::EthAddr::parse( { space + 1, end } );
   return { mac.value_or( Wirekit::EthAddr() ), Bridging::VlanId( vlan ) };
}

Flow offeredHostFlow( MacVlanPair const & host, PortNumber port ) {
   return hostFlow( Table::offeredHosts, host, Actions().setReg( Register::exitPort, port ) );
}

Flow remoteHostFlow( MacVlanPair const & host, Wirekit::Ip4Addr endPoint, PortNumber tunnel ) {
   return hostFlow( Table::remoteHosts, host,
                    Actions().setTunDst( endPoint ).setReg( Register::exitPort, tunnel ) );
}

Flow learntHostFlow( MacVlanPair const & host, PortNumber port, std::uint16_t ageing ) {
   return { .table = Table::learntHosts,
            .priority = usual,
            .cookie = Cookie::learntHost,
            .idleTimeout = ageing,
            .match = Match()
                        .number( OpenFlow::Fields::vlanVid, host.vlanId.value(), vlanNumber )
                        .ethDst( host.mac ),
            .actions = Actions().load( { OpenFlow::Fields::reg( Register::exitPort ), 0, portBits },
                                       port ) };
}

std::optional< LearntHost > learntHostOf( Flow const & flow ) {
   auto const vlan = flow.match.vlanId();
   auto const mac = flow.match.ethDst();
   if ( flow.table != Table::learntHosts || !vlan || *vlan == 0 || !mac ) {
      return std::nullopt;
   }
   auto const port = flow.actions.loaded( OpenFlow::Fields::reg( Register::exitPort ) );
   return LearntHost{ { *mac, Bridging::VlanId( *vlan ) },
                      static_cast< PortNumber >( port.value_or( 0 ) ) };
}

}  // namespace OpenVSwitch
