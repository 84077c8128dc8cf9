#pragma once

#include <cstdint>
#include <ostream>

#include "platform/kel/String.h"
#include "platform/kel/ValueSet.h"
#include "platform/kel/ValueTraits.h"
#include "platform/wirekit/EthAddr.h"
#include "platform/wirekit/IntfId.h"
#include "platform/wirekit/IpAddr.h"

namespace OpenFlowTable {

/** The bits of `Match::matchFieldSet`. */
namespace MatchField {
inline constexpr std::uint64_t inIntf = 0x1;
inline constexpr std::uint64_t ethSrc = 0x8;
inline constexpr std::uint64_t ethDst = 0x20;
inline constexpr std::uint64_t ethType = 0x80;
inline constexpr std::uint64_t vlanId = 0x100;
inline constexpr std::uint64_t ipSrc = 0x40000;
inline constexpr std::uint64_t ipDst = 0x80000;
inline constexpr std::uint64_t ip6Src = 0x100000;
inline constexpr std::uint64_t ip6Dst = 0x200000;
inline constexpr std::uint64_t ipProtocol = 0x800000;
inline constexpr std::uint64_t l4SrcPort = 0x1000000;
inline constexpr std::uint64_t l4DstPort = 0x2000000;
/** ARP frames; has no field. */
inline constexpr std::uint64_t arp = std::uint64_t{ 1 } << 46;
inline constexpr std::uint64_t srcGroup = std::uint64_t{ 1 } << 47;
inline constexpr std::uint64_t dstGroup = std::uint64_t{ 1 } << 48;
/** Routed traffic; has no field. */
inline constexpr std::uint64_t routed = std::uint64_t{ 1 } << 49;
}  // namespace MatchField

/** `Match::vlanIdMask` where all of the VLAN counts. */
inline constexpr std::uint16_t wholeVlanId = 0xfff;

/** What a flow entry matches. A field counts only if its bit is set in `matchFieldSet`. */
struct Match {
   std::uint64_t matchFieldSet = 0;
   Kel::ValueSet< Wirekit::IntfId > inIntf;
   Kel::String srcGroup;
   Kel::String dstGroup;
   Wirekit::Ip4Addr ipSrc;
   Wirekit::Ip4Addr ipSrcMask;
   Wirekit::Ip4Addr ipDst;
   Wirekit::Ip4Addr ipDstMask;
   std::uint16_t ethType = 0;
   std::uint16_t vlanId = 0;
   std::uint16_t vlanIdMask = 0;
   std::uint16_t l4SrcPort = 0;
   std::uint16_t l4DstPort = 0;
   std::uint8_t ipProtocol = 0;
   Wirekit::EthAddr ethSrc;
   Wirekit::EthAddr ethSrcMask;
   Wirekit::EthAddr ethDst;
   Wirekit::EthAddr ethDstMask;
   Wirekit::Ip6Addr ip6Src;
   Wirekit::Ip6Addr ip6SrcMask;
   Wirekit::Ip6Addr ip6Dst;
   Wirekit::Ip6Addr ip6DstMask;

   /** Puts an interface into the set or takes it out. Leaves the mask alone. */
   void inIntfIs( Wirekit::IntfId intf, bool member );

   using KelRecord = Match;
   /** The fields in the order of the record; those above stand so that no space is lost. */
   template < class F >
   static constexpr auto kelFields( F && f ) {
      using Kel::field;
      return f( field( "matchFieldSet", &Match::matchFieldSet ),
                field( "inIntf", &Match::inIntf, MatchField::inIntf ),
                field( "ethSrc", &Match::ethSrc, MatchField::ethSrc ),
                field( "ethSrcMask", &Match::ethSrcMask, MatchField::ethSrc ),
                field( "ethDst", &Match::ethDst, MatchField::ethDst ),
                field( "ethDstMask", &Match::ethDstMask, MatchField::ethDst ),
                field( "ethType", &Match::ethType, MatchField::ethType ),
                field( "vlanId", &Match::vlanId, MatchField::vlanId ),
                field( "vlanIdMask", &Match::vlanIdMask, MatchField::vlanId ),
                field( "ipSrc", &Match::ipSrc, MatchField::ipSrc ),
                field( "ipSrcMask", &Match::ipSrcMask, MatchField::ipSrc ),
                field( "ipDst", &Match::ipDst, MatchField::ipDst ),
                field( "ipDstMask", &Match::ipDstMask, MatchField::ipDst ),
                field( "ipProtocol", &Match::ipProtocol, MatchField::ipProtocol ),
                field( "ip6Src", &Match::ip6Src, MatchField::ip6Src ),
                field( "ip6SrcMask", &Match::ip6SrcMask, MatchField::ip6Src ),
                field( "ip6Dst", &Match::ip6Dst, MatchField::ip6Dst ),
                field( "ip6DstMask", &Match::ip6DstMask, MatchField::ip6Dst ),
                field( "l4SrcPort", &Match::l4SrcPort, MatchField::l4SrcPort ),
                field( "l4DstPort", &Match::l4DstPort, MatchField::l4DstPort ),
                field( "srcGroup", &Match::srcGroup, MatchField::srcGroup ),
                field( "dstGroup", &Match::dstGroup, MatchField::dstGroup ) );
   }
   std::uint64_t kelMask() const { return matchFieldSet; }
   friend bool operator==( Match const &, Match const & ) = default;
   /** The mask and the fields whose bit is set. */
   friend std::ostream & operator<<( std::ostream & out, Match const & match );
};

}  // namespace OpenFlowTable
