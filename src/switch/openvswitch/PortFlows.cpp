#include "switch/openvswitch/PortFlows.h"

#include "switch/openvswitch/Tables.h"

namespace OpenVSwitch {

using OpenFlow::Actions;
using OpenFlow::Flow;
using OpenFlow::Match;

namespace {

/** The lowest is that of what else. */
constexpr std::uint16_t otherwise = 0;
constexpr std::uint16_t usual = 10;
constexpr std::uint16_t before = 20;

Flow flow( std::uint8_t table, std::uint16_t priority, Match match, Actions actions ) {
   return { .table = table,
            .priority = priority,
            .match = std::move( match ),
            .actions = std::move( actions ) };
}

/** Enters a VLAN and goes on with the rules. */
Actions enter( std::uint16_t vlan, bool hasTag, bool isUntagged ) {
   Actions actions;
   if ( !hasTag ) {
      actions.pushVlan();
   }
   actions.setVlan( vlan );
   if ( isUntagged ) {
      actions.setReg( Register::untagged, 1 );
   }
   return actions.resubmit( Table::preLookup );
}

}  // namespace

std::vector< Flow > frameFlows( Ageing ageing ) {
   Wirekit::EthAddr const groupBit( Wirekit::EthAddr::Bytes{ 1, 0, 0, 0, 0, 0 } );
   auto const learnHost = OpenFlow::learnHost( Table::learntHosts, usual, ageing,
                                               Cookie::learntHost, Register::exitPort );
   auto const learnNextHop = OpenFlow::learnNextHop( Table::nexthop, usual, ageing,
                                                     Cookie::learntNexthop, Register::nexthop );
   return {
      // No host has such an address.
      flow( Table::arrival, before + 1, Match().ethSrc( groupBit, groupBit ), {} ),
      flow( Table::arrival, before + 1, Match().ethSrc( {} ), {} ),
      flow( Table::preLookup, otherwise, {}, Actions().resubmit( Table::sourceGroup ) ),
      flow( Table::sourceGroup, otherwise, {}, Actions().resubmit( Table::destinationGroup ) ),
      flow( Table::destinationGroup, otherwise, {}, Actions().resubmit( Table::lookup ) ),
      flow( Table::lookup, otherwise, {},
            Actions().resubmit( Table::learning ).resubmit( Table::destination ) ),
      flow( Table::learning, otherwise, {}, Actions().learn( learnHost ) ),
      flow( Table::learning, usual, Match().arp(),
            Actions().learn( learnHost ).learn( learnNextHop ) ),
      flow( Table::destination, otherwise, {},
            Actions()
               .resubmit( Table::remoteHosts )
               .resubmit( Table::learntHosts )
               .resubmit( Table::offeredHosts )
               .resubmit( Table::flooding ) ),
      flow( Table::flooding, otherwise, {}, Actions().resubmit( Table::departure ) ),
      flow( Table::flooding, usual - 1, Match().reg( Register::exitPort, 0 ), {} ),
      flow( Table::preTransmit, otherwise, {}, Actions().resubmit( Table::output ) ),
   };
}

std::vector< Flow > portFlows( Port const & port ) {
   std::vector< Flow > flows;
   std::uint16_t const native = port.nativeVlan;
   if ( port.vlans.contains( native ) ) {
      flows.push_back( flow( Table::arrival, usual, Match().inPort( port.number ).untagged(),
                             enter( native, false, true ) ) );
      flows.push_back( flow( Table::arrival, usual, Match().inPort( port.number ).priorityTagged(),
                             enter( native, true, true ) ) );
   }
   for ( std::uint16_t const vlan : port.vlans ) {
      flows.push_back( flow( Table::arrival, usual, Match().inPort( port.number ).vlan( vlan ),
                             Actions().resubmit( Table::preLookup ) ) );
      flows.push_back( flow( Table::departure, usual,
                             Match().vlan( vlan ).reg( Register::exitPort, port.number ),
                             Actions().resubmit( Table::preTransmit ) ) );
   }
   Match const here = Match().reg( Register::exitPort, port.number );
   flows.push_back( flow( Table::output, before, Match( here ).vlan( native ),
                          Actions().popVlan().outputPort( port.number ) ) );
   flows.push_back( flow( Table::output, usual, here, Actions().outputPort( port.number ) ) );
   return flows;
}

std::vector< Flow > tunnelFlows( Topology const & topology ) {
   std::vector< Flow > flows;
   if ( !topology.tunnel ) {
      return flows;
   }
   std::uint32_t const tunnel = topology.tunnel->number;
   // What has come through a tunnel is not learnt there: the controller says who is behind which.
   flows.push_back( flow( Table::learning, before, Match().inPort( tunnel ), {} ) );
   std::set< std::uint32_t > entered;
   for ( auto const & [vlan, vni] : topology.vnis ) {
      // Of several VLANs with one VNI the first takes what comes.
      if ( entered.insert( vni ).second ) {
         flows.push_back( flow( Table::arrival, usual,
                                Match().inPort( tunnel ).tunId( vni ).untagged(),
                                enter( vlan, false, false ) ) );
      }
      Match const leaving = Match().vlan( vlan ).reg( Register::exitPort, tunnel );
      flows.push_back(
         flow( Table::departure, usual, leaving, Actions().resubmit( Table::preTransmit ) ) );
      flows.push_back( flow( Table::output, before, leaving,
                             Actions().popVlan().setTunId( vni ).outputPort( tunnel ) ) );
   }
   return flows;
}

std::vector< Flow > floodFlows( Topology const & topology, std::uint16_t vlan ) {
   Actions actions;
   for ( auto const & [intf, port] : topology.ports ) {
      if ( port.vlans.contains( vlan ) ) {
         actions.clone(
            Actions().setReg( Register::exitPort, port.number ).resubmit( Table::departure ) );
      }
   }
   if ( auto const remote = topology.endPoints.find( vlan );
        topology.tunnel && remote != topology.endPoints.end() ) {
      for ( Wirekit::Ip4Addr const endPoint : remote->second ) {
         actions.clone( Actions()
                           .setTunDst( endPoint )
                           .setReg( Register::exitPort, topology.tunnel->number )
                           .resubmit( Table::departure ) );
      }
   }
   if ( actions.isDrop() ) {
      return {};
   }
   return { flow( Table::flooding, usual, Match().vlan( vlan ).reg( Register::exitPort, 0 ),
                  std::move( actions ) ) };
}

}  // namespace OpenVSwitch
