#pragma once

#include <array>
#include <bit>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "platform/kel/Hash.h"
#include "platform/wirekit/TextValue.h"

namespace Wirekit {

/** An IPv4 address or mask, 0.0.0.0 by default. Text of four decimal numbers without leading
    zeros. */
class Ip4Addr {
 public:
   constexpr Ip4Addr() = default;
   /** The first number of the text is the most significant byte, on any machine. */
   constexpr explicit Ip4Addr( std::uint32_t bits ) : bits_( bits ) {}

   /** The mask of `len` leading ones; all ones from 32 on. */
   static constexpr Ip4Addr mask( unsigned len ) {
      return Ip4Addr( len == 0 ? 0 : len >= 32 ? ~0U : ~0U << ( 32 - len ) );
   }

   constexpr std::uint32_t bits() const { return bits_; }
   constexpr bool isZero() const { return bits_ == 0; }
   constexpr std::size_t hash() const { return Kel::mixHash( bits_ ); }

   std::string stringValue() const;
   static std::optional< Ip4Addr > parse( std::string_view text );

   friend constexpr bool operator==( Ip4Addr, Ip4Addr ) = default;
   friend constexpr auto operator<=>( Ip4Addr, Ip4Addr ) = default;

 private:
   std::uint32_t bits_ = 0;
};

/** The address of an IPv4 interface. The default, 0.0.0.0, is the empty address. */
using IpAddr = Ip4Addr;

/** An IPv6 address or mask, "::" by default. Text as RFC 5952 recommends: lower case, the first of
    the longest runs of two or more zero groups shortened, mapped IPv4 as "::ffff:10.0.0.1". */
class Ip6Addr {
 public:
   using Bytes = std::array< std::uint8_t, 16 >;

   constexpr Ip6Addr() = default;
   /** Bytes as they stand on the wire. */
   constexpr explicit Ip6Addr( Bytes const & bytes ) : bytes_( bytes ) {}

   constexpr Bytes const & bytes() const { return bytes_; }
   constexpr bool isZero() const { return *this == Ip6Addr(); }
   constexpr std::size_t hash() const {
      Words const words = std::bit_cast< Words >( bytes_ );
      return Kel::combineHash( Kel::combineHash( 0, Kel::mixHash( words[0] ) ),
                               Kel::mixHash( words[1] ) );
   }

   std::string stringValue() const;
   static std::optional< Ip6Addr > parse( std::string_view text );

   friend constexpr bool operator==( Ip6Addr const & a, Ip6Addr const & b ) {
      return std::bit_cast< Words >( a.bytes_ ) == std::bit_cast< Words >( b.bytes_ );
   }
   friend constexpr auto operator<=>( Ip6Addr const &, Ip6Addr const & ) = default;

 private:
   /** Compared and hashed by words, since both happen more than anything else. */
   using Words = std::array< std::uint64_t, 2 >;

   Bytes bytes_{};
};

}  // namespace Wirekit
