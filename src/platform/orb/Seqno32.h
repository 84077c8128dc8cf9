#pragma once

#include <compare>
#include <cstddef>
#include <cstdint>
#include <ostream>

#include "platform/kel/Hash.h"

namespace Orb {

/** A 32-bit counter that wraps, in serial-number order: a number is below the 2^31 - 1 that follow
 *  it. Numbers exactly 2^31 apart are unordered, so neither is below the other. The order isn't
 *  transitive: no key of an ordered map. */
class Seqno32 {
 public:
   using Number = std::uint32_t;

   constexpr Seqno32() = default;
   constexpr explicit Seqno32( Number value ) : value_( value ) {}

   constexpr Number value() const { return value_; }
   constexpr std::size_t hash() const { return Kel::mixHash( value_ ); }

   friend constexpr bool operator==( Seqno32, Seqno32 ) = default;
   friend constexpr std::partial_ordering operator<=>( Seqno32 a, Seqno32 b ) {
      constexpr Number half = 0x80000000;
      Number const ahead = a.value_ - b.value_;
      if ( ahead == half ) {
         return std::partial_ordering::unordered;
      }
      return ahead == 0     ? std::partial_ordering::equivalent
             : ahead < half ? std::partial_ordering::greater
                            : std::partial_ordering::less;
   }
   friend std::ostream & operator<<( std::ostream & out, Seqno32 number ) {
      return out << number.value_;
   }

 private:
   Number value_ = 0;
};

}  // namespace Orb
