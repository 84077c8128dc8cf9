#include "switch/openvswitch/GroupFlows.h"

#include "switch/openvswitch/Tables.h"

namespace OpenVSwitch {

using OpenFlow::Actions;
using OpenFlow::Flow;
using OpenFlow::Match;

namespace {

constexpr std::uint16_t usual = 10;
/** Before what ARP has told. */
constexpr std::uint16_t configured = 20;

Flow flow( std::uint8_t table, std::uint16_t priority, Match match, Actions actions ) {
   return { .table = table,
            .priority = priority,
            .match = std::move( match ),
            .actions = std::move( actions ) };
}

}  // namespace

std::uint32_t groupNumber( Kel::String const & group ) {
   std::uint64_t const hash = group.hash();
   auto const number = static_cast< std::uint32_t >( hash ^ hash >> 32 );
   return number == 0 ? 1 : number;
}

std::vector< Flow > endPointFlows( OpenFlowTable::TrafficStreamEndPointId const & id,
                                   Kel::String const & group,
                                   Wirekit::EthAddr const & virtualRouterMac ) {
   Match from;
   Match to;
   from.ethDst( virtualRouterMac );
   to.ethDst( virtualRouterMac );
   if ( id.ip.isV4() ) {
      from.ip4().ip4Src( id.ip.v4Addr() );
      to.ip4().ip4Dst( id.ip.v4Addr() );
   } else {
      from.ip6().ip6Src( id.ip.v6Addr() );
      to.ip6().ip6Dst( id.ip.v6Addr() );
   }
   std::uint32_t const number = groupNumber( group );
   std::vector< Flow > flows{
      flow( Table::sourceGroup, usual, std::move( from ),
            Actions().setReg( Register::sourceGroup, number ).resubmit( Table::destinationGroup ) ),
      flow( Table::destinationGroup, usual, std::move( to ),
            Actions().setReg( Register::destinationGroup, number ).resubmit( Table::lookup ) ) };
   if ( id.ip.isV4() && !id.mac.isZero() ) {
      Match match;
      Actions actions;
      match.reg( Register::nexthop, id.ip.v4Addr().bits() );
      if ( !id.vlan.isNone() ) {
         // The switch wants to hear that there is a tag to rewrite, as there always is.
         match.number( OpenFlow::Fields::vlanVid, OpenFlow::vlanPresent, OpenFlow::vlanPresent );
         actions.setVlan( id.vlan.value() );
      }
      flows.push_back(
         flow( Table::nexthop, configured, std::move( match ), actions.setEthDst( id.mac ) ) );
   }
   return flows;
}

std::vector< Flow > redirectFlows( Wirekit::EthAddr const & virtualRouterMac ) {
   return { flow( Table::redirect, 0, {}, Actions().resubmit( Table::destination ) ),
            flow( Table::redirect, usual, Match().ethDst( virtualRouterMac ), {} ) };
}

}  // namespace OpenVSwitch
