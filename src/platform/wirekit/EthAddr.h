#pragma once

#include <array>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "platform/wirekit/Hash.h"
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
   constexpr std::size_t hash() const {
      std::uint64_t bits = 0;
      for ( std::uint8_t byte : bytes_ ) {
         bits = bits << 8 | byte;
      }
      return hashOf( bits );
   }

   std::string stringValue() const;
   static std::optional< EthAddr > parse( std::string_view text );

   friend constexpr bool operator==( EthAddr const &, EthAddr const & ) = default;
   friend constexpr auto operator<=>( EthAddr const &, EthAddr const & ) = default;

 private:
   Bytes bytes_{};
};

}  // namespace Wirekit
