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

/** A MAC address, zero by default. Text "02:00:00:00:00:01"; capital digits are read as well. */
class EthAddr {
 public:
   using Bytes = std::array< std::uint8_t, 6 >;

   constexpr EthAddr() = default;
   /** Bytes as they stand on the wire. */
   constexpr explicit EthAddr( Bytes const & bytes ) {
      for ( std::size_t i = 0; i < bytes.size(); ++i ) {
         groups_[i / 2] = static_cast< std::uint16_t >( groups_[i / 2] << 8 | bytes[i] );
      }
   }

   static constexpr EthAddr allOnes() {
      return EthAddr( Bytes{ 0xff, 0xff, 0xff, 0xff, 0xff, 0xff } );
   }

   constexpr Bytes bytes() const {
      Bytes bytes{};
      for ( std::size_t i = 0; i < bytes.size(); ++i ) {
         bytes[i] = static_cast< std::uint8_t >( groups_[i / 2] >> ( 8 - i % 2 * 8 ) );
      }
      return bytes;
   }
   constexpr bool isZero() const { return *this == EthAddr(); }
   constexpr std::size_t hash() const {
      return Kel::mixHash( std::uint64_t{ groups_[0] } << 32 | std::uint64_t{ groups_[1] } << 16 |
                           groups_[2] );
   }

   /** For whoever has to write one. */
   static constexpr char const * form = "a MAC address such as 02:00:00:00:00:01";
   std::string stringValue() const;
   static std::optional< EthAddr > parse( std::string_view text );

   friend constexpr bool operator==( EthAddr const & a, EthAddr const & b ) {
      return ( ( a.groups_[0] ^ b.groups_[0] ) | ( a.groups_[1] ^ b.groups_[1] ) |
               ( a.groups_[2] ^ b.groups_[2] ) ) == 0;
   }
   friend constexpr auto operator<=>( EthAddr const &, EthAddr const & ) = default;

 private:
   /** Two bytes each, the most significant first: addresses are compared and hashed more than they
    *  are read out. */
   std::array< std::uint16_t, 3 > groups_{};
};

}  // namespace Wirekit
