#include "views/packet/RuleMatch.h"

#include <cstddef>

namespace Views {

namespace {

namespace MatchField = OpenFlowTable::MatchField;

bool isSame( Wirekit::Ip4Addr a, Wirekit::Ip4Addr b, Wirekit::Ip4Addr mask ) {
   return ( ( a.bits() ^ b.bits() ) & mask.bits() ) == 0;
}

/** The same for addresses that are read out byte by byte. */
template < class Addr >
bool isSame( Addr const & a, Addr const & b, Addr const & mask ) {
   auto const one = a.bytes();
   auto const other = b.bytes();
   auto const counts = mask.bytes();
   for ( std::size_t i = 0; i != counts.size(); ++i ) {
      if ( ( one[i] ^ other[i] ) & counts[i] ) {
         return false;
      }
   }
   return true;
}

/** Rules for routed traffic name their VLAN without a mask, and mean all of it. */
bool isSameVlan( OpenFlowTable::Match const & match, Bridging::VlanId vlan ) {
   auto const mask = match.vlanIdMask == 0 ? OpenFlowTable::wholeVlanId : match.vlanIdMask;
   return ( ( vlan.value() ^ match.vlanId ) & mask ) == 0;
}

}  // namespace

bool matches( OpenFlowTable::Match const & match, Passing const & passing ) {
   Frame const & frame = passing.frame;
   std::uint64_t unknown = match.matchFieldSet;
   auto const holds = [&]( std::uint64_t field, auto const & isSo ) {
      bool const named = match.matchFieldSet & field;
      unknown &= ~field;
      return !named || isSo();
   };
   Wirekit::IpGenAddr const from = frame.ipFrom;
   Wirekit::IpGenAddr const to = frame.ipTo;
   return holds( MatchField::inIntf, [&] { return match.inIntf.has( frame.in ); } ) &&
          holds( MatchField::vlanId, [&] { return isSameVlan( match, passing.vlan ); } ) &&
          holds( MatchField::ethSrc,
                 [&] { return isSame( frame.from, match.ethSrc, match.ethSrcMask ); } ) &&
          holds( MatchField::ethDst,
                 [&] { return isSame( frame.to, match.ethDst, match.ethDstMask ); } ) &&
          holds( MatchField::ethType, [&] { return frame.etherType == match.ethType; } ) &&
          holds( MatchField::arp, [&] { return frame.etherType == EtherType::arp; } ) &&
          holds( MatchField::routed, [&] { return passing.routed; } ) &&
          holds( MatchField::srcGroup,
                 [&] { return passing.fromGroups.contains( match.srcGroup ); } ) &&
          holds( MatchField::dstGroup,
                 [&] { return passing.toGroups.contains( match.dstGroup ); } ) &&
          holds( MatchField::ipSrc,
                 [&] {
                    return from.isV4() && isSame( from.v4Addr(), match.ipSrc, match.ipSrcMask );
                 } ) &&
          holds(
             MatchField::ipDst,
             [&] { return to.isV4() && isSame( to.v4Addr(), match.ipDst, match.ipDstMask ); } ) &&
          holds( MatchField::ip6Src,
                 [&] {
                    return from.isV6() && isSame( from.v6Addr(), match.ip6Src, match.ip6SrcMask );
                 } ) &&
          holds(
             MatchField::ip6Dst,
             [&] { return to.isV6() && isSame( to.v6Addr(), match.ip6Dst, match.ip6DstMask ); } ) &&
          holds( MatchField::ipProtocol, [&] { return frame.protocol == match.ipProtocol; } ) &&
          holds( MatchField::l4SrcPort, [&] { return frame.fromPort == match.l4SrcPort; } ) &&
          holds( MatchField::l4DstPort, [&] { return frame.toPort == match.l4DstPort; } ) &&
          unknown == 0;
}

}  // namespace Views
