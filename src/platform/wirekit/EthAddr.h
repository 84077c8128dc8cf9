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

/** A MAC address, zero by default. Text "02:00:00:00:00:01"; capital digits are read as well. */
class EthAddr {
 public:
   using Bytes = std::array< std::uint8_t, 6 >;

   constexpr EthAddr() = default;
   /** Bytes as they stand on the wire. */
   constexpr explicit EthAddr( Bytes const & bytes ) : bytes_( bytes ) {}

   static constexpr EthAddr allOnes() {
      return EthAddr( Bytes{ 0xff, 0xff, 0xff, 0xff, 0xff, 0xff } );
   }

   constexpr Bytes const & bytes() const { return bytes_; }
   constexpr bool isZero() const { return *this == EthAddr(); }
   constexpr std::size_t hash() const { return Kel::mixHash( bits() ); }

   std::string stringValue() const;
   static std::optional< EthAddr > parse( std::string_view text );

   friend constexpr bool operator==( EthAddr const & a, EthAddr const & b ) {
      return a.bits() == b.bits();
   }
   friend constexpr auto operator<=>( EthAddr const &, EthAddr const & ) = default;

 private:
   /** All bytes in one number; read so, since they are compared and hashed more than anything else.
    */
   constexpr std::uint64_t bits() const {
      auto const parts = std::bit_cast< std::array< std::uint16_t, 3 > >( bytes_ );
      return std::uint64_t{ parts[0] } << 32 | std::uint64_t{ parts[1] } << 16 | parts[2];
   }

   Bytes bytes_{};
};

}  // namespace Wirekit
