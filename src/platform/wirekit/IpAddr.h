#pragma once

#include <array>
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

   static constexpr char const * form = "an IPv4 address such as 10.0.0.1";
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
   /** The most significant first. */
   using Words = std::array< std::uint32_t, 4 >;

   constexpr Ip6Addr() = default;
   constexpr explicit Ip6Addr( Words const & words ) : words_( words ) {}
   /** Bytes as they stand on the wire. */
   constexpr explicit Ip6Addr( Bytes const & bytes ) {
      for ( std::size_t i = 0; i < bytes.size(); ++i ) {
         words_[i / 4] = words_[i / 4] << 8 | bytes[i];
      }
   }

   constexpr Words const & words() const { return words_; }
   constexpr Bytes bytes() const {
      Bytes bytes{};
      for ( std::size_t i = 0; i < bytes.size(); ++i ) {
         bytes[i] = static_cast< std::uint8_t >( words_[i / 4] >> ( 24 - i % 4 * 8 ) );
      }
      return bytes;
   }
   constexpr bool isZero() const { return *this == Ip6Addr(); }
   constexpr std::size_t hash() const {
      auto const half = [this]( std::size_t i ) {
         return Kel::mixHash( std::uint64_t{ words_[i] } << 32 | words_[i + 1] );
      };
      return Kel::combineHash( Kel::combineHash( 0, half( 0 ) ), half( 2 ) );
   }

   static constexpr char const * form = "an IPv6 address such as 2001:db8::1";
   std::string stringValue() const;
   static std::optional< Ip6Addr > parse( std::string_view text );

   friend constexpr bool operator==( Ip6Addr const & a, Ip6Addr const & b ) {
      return ( ( a.words_[0] ^ b.words_[0] ) | ( a.words_[1] ^ b.words_[1] ) |
               ( a.words_[2] ^ b.words_[2] ) | ( a.words_[3] ^ b.words_[3] ) ) == 0;
   }
   friend constexpr auto operator<=>( Ip6Addr const &, Ip6Addr const & ) = default;

 private:
   /** Words rather than bytes: addresses are compared and hashed more than they are read out. */
   Words words_{};
};

}  // namespace Wirekit
