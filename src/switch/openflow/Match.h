#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "platform/wirekit/EthAddr.h"
#include "platform/wirekit/IpAddr.h"
#include "switch/openflow/Fields.h"

namespace OpenFlow {

class Reader;
class Writer;

inline constexpr Wirekit::Ip6Addr allOnes6( Wirekit::Ip6Addr::Words{ ~0U, ~0U, ~0U, ~0U } );

/**
 * Which frames a flow is for; any frame at first. Each call narrows it by one field, or takes the
 * place of what it said of that field before.
 *
 * It is kept as it goes over the wire, in one form alone: fields in order, no bits outside a mask,
 * no mask where all bits count. So a match that is read back equals the one that was sent.
 *
 * A field that only some frames have wants those to be matched before: IPv4 addresses `ethType`
 * 0x0800, IPv6 ones 0x86dd, `ipProtocol` either of them, ports `ipProtocol` 6 or 17. It is
 * asserted.
 */
class Match {
 public:
   Match & inPort( std::uint32_t port );
   /** Frames with this VLAN's tag, as they come or as actions before have made them. */
   Match & vlan( std::uint16_t vid );
   /** Frames with a tag, whichever VLAN it names. */
   Match & tagged();
   /** Frames without a tag. */
   Match & untagged();
   /** Frames whose tag names no VLAN. */
   Match & priorityTagged();
   Match & ethSrc( Wirekit::EthAddr const & address,
                   Wirekit::EthAddr const & mask = Wirekit::EthAddr::allOnes() );
   Match & ethDst( Wirekit::EthAddr const & address,
                   Wirekit::EthAddr const & mask = Wirekit::EthAddr::allOnes() );
   Match & ethType( std::uint16_t type );
   Match & arp() { return ethType( 0x0806 ); }
   Match & ip4() { return ethType( 0x0800 ); }
   Match & ip6() { return ethType( 0x86dd ); }
   Match & ip4Src( Wirekit::Ip4Addr address, Wirekit::Ip4Addr mask = Wirekit::Ip4Addr::mask( 32 ) );
   Match & ip4Dst( Wirekit::Ip4Addr address, Wirekit::Ip4Addr mask = Wirekit::Ip4Addr::mask( 32 ) );
   Match & ip6Src( Wirekit::Ip6Addr const & address, Wirekit::Ip6Addr const & mask = allOnes6 );
   Match & ip6Dst( Wirekit::Ip6Addr const & address, Wirekit::Ip6Addr const & mask = allOnes6 );
   Match & ipProtocol( std::uint8_t protocol );
   Match & l4SrcPort( std::uint16_t port, std::uint16_t mask = 0xffff );
   Match & l4DstPort( std::uint16_t port, std::uint16_t mask = 0xffff );
   Match & reg( unsigned n, std::uint32_t value, std::uint32_t mask = ~0U );
   Match & tunId( std::uint64_t id );
   /** Any field of up to eight bytes. */
   Match & number( Field field, std::uint64_t value, std::uint64_t mask = ~std::uint64_t{} );

   struct Masked {
      std::uint64_t value;
      std::uint64_t mask;
      friend constexpr bool operator==( Masked, Masked ) = default;
   };
   /** What it says of a field of up to eight bytes; nothing where any value will do. */
   std::optional< Masked > number( Field field ) const;
   /** The VLAN whose tag it wants, whether or not it says that there is a tag: a switch that has
    *  learnt leaves that out. */
   std::optional< std::uint16_t > vlanId() const;
   /** The whole address. */
   std::optional< Wirekit::EthAddr > ethDst() const;
   std::optional< Wirekit::EthAddr > ethSrc() const;

   bool isAny() const { return fields_.empty(); }
   std::size_t hash() const;
   /** In the words of the switch's own tools: "in_port=1,dl_vlan=100". */
   std::string text() const;
   friend bool operator==( Match const &, Match const & ) = default;

   void encode( Writer & out ) const;
   /** Takes a match and what fills it up from `in`; fields that it doesn't know are kept as they
    *  are. Throws DecodeError. */
   static Match decode( Reader & in );

 private:
   Match & set( Field field, std::string_view value, std::string_view mask );
   Match & ip( Field field, std::uint16_t type, std::string_view value, std::string_view mask );
   Match & l4Port( Field tcp, Field udp, std::uint16_t port, std::uint16_t mask );
   /** Where the field stands, or would stand. */
   std::size_t placeOf( Field field ) const;

   /** One behind the other: header, value, mask. */
   std::string fields_;
};

}  // namespace OpenFlow
