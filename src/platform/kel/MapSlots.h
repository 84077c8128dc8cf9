#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

namespace Kel {

/**
 * The index of a hash map: from the hash of a key to the position of its entry. It knows no keys,
 * so that it is compiled once for all maps; hashes are to be well spread in all their bits.
 */
class MapSlots {
 public:
   static constexpr std::size_t absent = ~std::size_t{ 0 };

   bool empty() const { return size_ == 0; }

   /** The position of the entry with that hash for which `holds( position )` is true. */
   template < class Holds >
   std::size_t find( std::size_t hash, Holds const & holds ) const {
      for ( std::size_t at = hash >> 32;; ++at ) {
         Slot const slot = slots_[at & ( size_ - 1 )];
         if ( slot == 0 ) {
            return absent;
         }
         if ( slot != deletedSlot && ( slot ^ hash ) >> 32 == 0 && holds( positionOf( slot ) ) ) {
            return positionOf( slot );
         }
      }
   }

   /** Begins anew, without entries and with room for so many. */
   void start( std::size_t entries );
   /** Empty, without memory. */
   void drop();
   /** `entries` is the number of positions in use, this one included. */
   void insert( std::size_t hash, std::size_t position, std::size_t entries ) {
      if ( entries * 2 > size_ ) {
         grow();
      }
      place( slotOf( hash, position ) );
   }
   void erase( std::size_t hash, std::size_t position );

 private:
   /** High half: the hash; low half: position plus one, zero for a free slot. */
   using Slot = std::uint64_t;
   /** A slot whose entry was deleted: a look-up passes it, the next entry takes it, so that a key
    * that comes and goes does not leave a chain of them. */
   static constexpr Slot deletedSlot = ~Slot{ 0 };

   static Slot slotOf( std::size_t hash, std::size_t position ) {
      return ( hash & ~std::uint64_t{ 0xffffffff } ) | ( position + 1 );
   }
   static std::size_t positionOf( Slot slot ) { return ( slot & 0xffffffff ) - 1; }

   void place( Slot slot ) {
      std::size_t at = slot >> 32;
      while ( slots_[at & ( size_ - 1 )] != 0 && slots_[at & ( size_ - 1 )] != deletedSlot ) {
         ++at;
      }
      slots_[at & ( size_ - 1 )] = slot;
   }
   void grow();

   std::unique_ptr< Slot[] > slots_;
   /** Zero or a power of two. */
   std::size_t size_ = 0;
};

}  // namespace Kel
