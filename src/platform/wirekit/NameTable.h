#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <unordered_map>

namespace Wirekit {

/**
 * Names kept once, so that a number of four bytes stands for one.
 *
 * Names are never removed: numbers and views stay good for the life of the table. Any thread may
 * enter names and read those whose numbers it has.
 */
class NameTable {
 public:
   using Index = std::uint32_t;
   using Abbreviate = std::string ( * )( std::string_view name );

   /** `abbreviate`, if given, is called once for a name, when it enters. */
   explicit NameTable( Abbreviate abbreviate = nullptr );

   /** The number of the name, the same each time; 0 for the empty name. */
   Index intern( std::string_view name );

   std::string_view name( Index index ) const { return entry( index ).name; }
   /** Empty in a table without abbreviations. */
   std::string_view abbreviation( Index index ) const { return entry( index ).abbreviation; }

 private:
   struct Entry {
      std::string name;
      std::string abbreviation;
   };

   Entry & entry( Index index ) const;

   Abbreviate const abbreviate_;
   std::mutex mutex_;
   std::unordered_map< std::string_view, Index > indexOf_;
   // Each chunk is double the one before. Entries never move, so that reading needs no lock:
   // whoever has a number has it from after its entry was written.
   std::array< std::unique_ptr< Entry[] >, 26 > chunks_;
};

}  // namespace Wirekit
