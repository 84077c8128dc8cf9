#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <type_traits>

namespace Kel {

/** Spreads the bits of a number over the whole word. */
constexpr std::size_t mixHash( std::uint64_t value ) {
   value *= 0x9e3779b97f4a7c15;
   return value ^ ( value >> 32 );
}

/** The hash of a sequence: `a` is that of what stands before, 0 at its beginning, and `b` that of
 *  the next element. (Two mixed numbers as they are would cancel out where both vary alike.) */
constexpr std::size_t combineHash( std::size_t a, std::size_t b ) {
   return ( std::rotl( a, 29 ) ^ b ) * 0x9e3779b97f4a7c15;
}

/** The hash of a key: its own `hash()`, or the number mixed. */
template < class Key >
std::size_t hashOf( Key const & key ) {
   if constexpr ( std::is_enum_v< Key > || std::is_integral_v< Key > ) {
      return mixHash( static_cast< std::uint64_t >( key ) );
   } else {
      return key.hash();
   }
}

}  // namespace Kel
