#pragma once

#include <cstddef>
#include <cstdint>

namespace QorClient {

/** Hashes the fields of a key one after the other, byte by byte, lowest byte first. */
class KeyHash {
 public:
   constexpr KeyHash & byte( std::uint8_t value ) {
      hash_ = ( hash_ + value ) * 1025;
      hash_ ^= hash_ >> 6;
      return *this;
   }
   /** The low four bytes. */
   constexpr KeyHash & word( std::size_t value ) {
      for ( int shift = 0; shift != 32; shift += 8 ) {
         byte( static_cast< std::uint8_t >( value >> shift ) );
      }
      return *this;
   }
   constexpr std::size_t value() const {
      std::uint32_t end = hash_ * 9;
      end ^= end >> 11;
      end *= 32769;
      return end;
   }

 private:
   std::uint32_t hash_ = 0;
};

}  // namespace QorClient
