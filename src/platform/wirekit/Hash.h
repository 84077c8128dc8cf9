#pragma once

#include <cstddef>
#include <cstdint>

namespace Wirekit {

/** Spreads the bits of the value (a bijection of 64 bits). Stable. */
constexpr std::size_t hashOf( std::uint64_t value ) {
   value *= 0x9e3779b97f4a7c15;
   return static_cast< std::size_t >( value ^ ( value >> 32 ) );
}

/** The hash of a sequence: `hash` is that of what stands before `value`. */
constexpr std::size_t hashOf( std::size_t hash, std::uint64_t value ) {
   return hashOf( hash ^ hashOf( value ) );
}

}  // namespace Wirekit
