#pragma once

#include <atomic>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <span>

/** Byte blobs as words of 8 bytes, the last one padded with zeros, and atomic access to them. */
namespace Slab::Words {

/** Shared words are only ever touched through these two. */
template < typename Word >
Word load( Word const & word, std::memory_order order = std::memory_order_relaxed ) {
   // C++20 has no atomic_ref of a const object. A lock-free load writes nothing, so it may be used
   // on memory that is mapped read-only.
   return std::atomic_ref< Word >( const_cast< Word & >( word ) ).load( order );
}

template < typename Word >
void store( Word & word, Word value, std::memory_order order = std::memory_order_relaxed ) {
   std::atomic_ref< Word >( word ).store( value, order );
}

/** Calls `visit( word index, byte offset, byte count )` for each word of a blob. Whole words are a
 *  constant 8 to the compiler, which makes their copies single instructions. */
template < typename Visit >
void forEach( std::size_t length, Visit visit ) {
   std::size_t const whole = length / 8;
   for ( std::size_t i = 0; i < whole; ++i ) {
      visit( i, i * 8, std::size_t( 8 ) );
   }
   if ( length % 8 != 0 ) {
      visit( whole, whole * 8, length % 8 );
   }
}

inline std::uint64_t at( std::span< std::byte const > bytes, std::size_t offset,
                         std::size_t count ) {
   std::uint64_t word = 0;
   std::memcpy( &word, bytes.data() + offset, count );
   return word;
}

/**
 * A 64-bit sum over words. Each step is one-to-one in the sum and in the word, so that a change of
 * any single word always shows.
 */
class Digest {
 public:
   void add( std::uint64_t word ) {
      // By itself first, or else two changed bits in words that follow each other could undo each
      // other whatever else stands there.
      word = std::rotl( word * 0xc2b2ae3d27d4eb4fU, 31 ) * 0x9e3779b185ebca87U;
      sum_ = std::rotl( sum_ ^ word, 29 ) * 0x9e3779b97f4a7c15U;
   }

   void add( std::span< std::byte const > bytes ) {
      forEach( bytes.size(), [&]( std::size_t, std::size_t offset, std::size_t count ) {
         add( at( bytes, offset, count ) );
      } );
   }

   /** Mixed, so that any of its bits will do for a hash. */
   std::uint64_t value() const {
      std::uint64_t mixed = ( sum_ ^ ( sum_ >> 32 ) ) * 0xd6e8feb86659fd93U;
      mixed = ( mixed ^ ( mixed >> 32 ) ) * 0xd6e8feb86659fd93U;
      return mixed ^ ( mixed >> 32 );
   }

 private:
   std::uint64_t sum_ = 0x243f6a8885a308d3U;  // not 0: a row of zeros has no sum of 0
};

inline std::uint64_t digestOf( std::initializer_list< std::span< std::byte const > > blobs ) {
   Digest digest;
   for ( auto const & blob : blobs ) {
      digest.add( blob );
   }
   return digest.value();
}

inline bool equal( std::uint64_t const * words, std::span< std::byte const > bytes ) {
   bool same = true;
   forEach( bytes.size(), [&]( std::size_t i, std::size_t offset, std::size_t count ) {
      same = same && load( words[i] ) == at( bytes, offset, count );
   } );
   return same;
}

/** What a sequence number shows while its subject is being changed. */
constexpr bool isOdd( std::uint64_t number ) {
   return ( number & 1 ) != 0;
}

}  // namespace Slab::Words
