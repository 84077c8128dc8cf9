#pragma once

#include <cstddef>
#include <cstdint>

namespace Wirekit {

/** Spreads every bit of the value over the whole result (a bijection of 64 bits). Stable. */
constexpr std::size_t hashOf( std::uint64_t value ) {
   value += 0x9e3779b97f4a7c15;
   value = ( value ^ ( value >> 30 ) ) * 0xbf58476d1ce4e5b9;
   value = ( value ^ ( value >> 27 ) ) * 0x94d049bb133111eb;
   return static_cast< std::size_t >( value ^ ( value >> 31 ) );
}

/** The hash of a sequence: `hash` is that of what stands before `value`. */
constexpr std::size_t hashOf( std::size_t hash, std::uint64_t value ) {
   return hashOf( hash ^ hashOf( value ) );
}

}  // namespace Wirekit
