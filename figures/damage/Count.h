#pragma once

#include <algorithm>
#include <cstddef>

#include <cstdint>
#include <random>
#include <string>

namespace Damage {

/** What became of damaged records of one kind. */
struct Count {
   char const * kind;
   std::uint64_t all = 0;
   /** Told as damaged, and left out. */
   std::uint64_t refused = 0;
   /** Read as it was: no reader goes by what was hit. */
   std::uint64_t unchanged = 0;
   /** Not there any more, as if it had not come yet or had gone. */
   std::uint64_t absent = 0;
   /** Read as another value that someone may have written so. */
   std::uint64_t wellFormed = 0;
   /** Read as something that nobody has written. */
   std::uint64_t taken = 0;
};

using Random = std::mt19937_64;

inline std::size_t below( Random & random, std::size_t limit ) {
   return static_cast< std::size_t >( random() % limit );
}

/**
 * Damages bytes in one of the ways in which memory and disks do: bits turn over, a stretch holds
 * something else, a stretch is zero, the rest is that of another writing.
 */
inline void damage( std::string & bytes, std::size_t from, std::size_t size,
                    std::string const & other, Random & random ) {
   std::size_t const at = from + below( random, size );
   std::size_t const length = 1 + below( random, std::min< std::size_t >( 32, from + size - at ) );
   switch ( below( random, 8 ) ) {
      case 0:
         bytes.replace( at, length, length, '\0' );
         break;
      case 1:
         for ( std::size_t i = at; i != at + length; ++i ) {
            bytes[i] = static_cast< char >( random() );
         }
         break;
      case 2:
         bytes.replace( at, from + size - at, other, at, from + size - at );
         break;
      default:
         for ( std::size_t bits = 1 + below( random, 8 ); bits != 0; --bits ) {
            char & byte = bytes[from + below( random, size )];
            byte = static_cast< char >( byte ^ ( 1 << below( random, 8 ) ) );
         }
   }
}

Count tables( std::uint64_t count, Random & random );
Count traces( std::uint64_t count, Random & random );
Count stateFiles( std::uint64_t count, Random & random, std::string const & scenario );
Count journals( std::uint64_t count, Random & random, std::string const & scenario );
Count engineRows( std::uint64_t count, Random & random, std::string const & scenario );

}  // namespace Damage
