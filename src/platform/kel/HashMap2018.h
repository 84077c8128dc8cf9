#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "platform/kel/Hash.h"

namespace Kel {

/** The value of a set's members. */
struct Nothing {
   friend bool operator==( Nothing, Nothing ) { return true; }
};

/**
 * A hash map that keeps the order of insertion; an empty one costs a pointer.
 *
 * An overwrite keeps its place. Cursors stay usable whatever happens to the map between two steps:
 * a cursor visits each entry that was there throughout exactly once, and entries added during the
 * walk at the end. It must not outlive the map.
 *
 * Entries stand in a dense array, each with a number that only grows; deletion leaves a gap, and
 * gaps are closed when an array that must grow has many, or when they are most of it. A cursor
 * remembers the number that it stands on, so that no move of the array can mislead it. Beyond a
 * few entries an index is kept beside; look-ups that follow the order of the entries, as those in
 * a walk over another map do, find theirs without it.
 */
template < class K, class V >
class HashMap2018 {
 public:
   using Key = K;
   using Value = V;
   struct Member {
      K key;
      [[no_unique_address]] V value;
   };

   HashMap2018() = default;
   HashMap2018( HashMap2018 && other ) noexcept = default;
   HashMap2018 & operator=( HashMap2018 && other ) noexcept = default;

   class Cursor {
    public:
      explicit Cursor( HashMap2018 const & map ) : map_( &map ) { settle(); }
      /** On the entry of that key; on the first entry when there is none. */
      Cursor( HashMap2018 const & map, K const & key ) : map_( &map ) {
         std::size_t const at = map.rep_ ? map.rep_->find( key ) : absent;
         if ( at != absent ) {
            sequence_ = map.rep_->entries[at].sequence;
            position_ = at;
         }
         settle();
      }
      /** True while the cursor stands on an entry; that entry may have been deleted since. */
      explicit operator bool() const { return found_; }
      /** Null when the entry that the cursor stands on has been deleted. */
      Member const * member() const {
         return found_ ? map_->rep_->at( sequence_, position_ ) : nullptr;
      }
      /** The entry that the cursor stands on, just after it was made or moved. */
      Member const & current() const { return *map_->rep_->entries[position_].member; }
      void advance() {
         ++sequence_;
         ++position_;
         // Between entries that stand side by side, the usual step.
         if ( Rep const * const rep = map_->rep_.get() ) {
            if ( position_ < rep->entries.size() && rep->entries[position_].sequence == sequence_ &&
                 rep->entries[position_].member ) {
               found_ = true;
               return;
            }
         }
         settle();
      }

    private:
      void settle() { found_ = map_->rep_ && map_->rep_->seek( sequence_, position_ ); }

      HashMap2018 const * map_;
      std::uint64_t sequence_ = 1;
      std::size_t position_ = 0;
      bool found_ = false;
   };

   std::size_t size() const { return rep_ ? rep_->live : 0; }
   bool empty() const { return size() == 0; }

   /** Null when absent. Valid until the next change of the map. */
   V const * find( K const & key ) const {
      std::size_t const position = rep_ ? rep_->find( key ) : absent;
      return position == absent ? nullptr : &rep_->entries[position].member->value;
   }
   V * find( K const & key ) { return const_cast< V * >( std::as_const( *this ).find( key ) ); }
   bool has( K const & key ) const { return find( key ) != nullptr; }

   /** Adds or overwrites. True when something changed. */
   template < class U >
   bool set( K const & key, U && value ) {
      if ( !rep_ ) {
         rep_ = std::make_unique< Rep >();
      }
      std::size_t hash = 0;
      std::size_t const position = rep_->find( key, hash );
      if ( position == absent ) {
         rep_->append( hash, Member{ key, V( std::forward< U >( value ) ) } );
         return true;
      }
      V & stored = rep_->entries[position].member->value;
      if ( stored == value ) {
         return false;
      }
      stored = std::forward< U >( value );
      return true;
   }

   /** Adds an entry whose key is known to be absent. */
   template < class U >
   void add( K const & key, U && value ) {
      if ( !rep_ ) {
         rep_ = std::make_unique< Rep >();
      }
      rep_->append( rep_->slots.empty() ? 0 : spreadHash( key ),
                    Member{ key, V( std::forward< U >( value ) ) } );
   }

   /** Takes the entry out and yields its value; nothing when absent. */
   std::optional< V > take( K const & key ) {
      std::size_t const position = rep_ ? rep_->find( key ) : absent;
      if ( position == absent ) {
         return std::nullopt;
      }
      std::optional< V > value( std::move( rep_->entries[position].member->value ) );
      rep_->erase( position );
      return value;
   }
   bool erase( K const & key ) { return take( key ).has_value(); }
   /** Cursors go on to what is added afterwards. */
   void clear() {
      if ( std::unique_ptr< Rep > old = std::move( rep_ ) ) {
         rep_ = std::make_unique< Rep >();
         rep_->nextSequence = old->nextSequence;
      }
   }

 private:
   static constexpr std::size_t absent = ~std::size_t{ 0 };
   /** Up to this many entries a look-up compares keys instead of keeping an index. */
   static constexpr std::size_t indexFrom = 8;

   /** The index uses the high bits, which a key's own hash may leave empty. */
   static std::size_t spreadHash( K const & key ) { return mixHash( hashOf( key ) ); }

   struct Entry {
      std::uint64_t sequence;
      std::optional< Member > member;

      bool holds( K const & key ) const { return member && member->key == key; }
   };
   /** High half: the hash; low half: position plus one, zero for a free slot. */
   using Slot = std::uint64_t;
   /** A slot whose entry was deleted: a look-up passes it, the next entry takes it, so that a key
    * that comes and goes does not leave a chain of them. */
   static constexpr Slot deletedSlot = ~Slot{ 0 };

   struct Rep {
      std::vector< Entry > entries;
      std::vector< Slot > slots;
      std::size_t live = 0;
      std::uint64_t nextSequence = 1;
      /** Behind the entry that was found or appended last. */
      mutable std::size_t next = 0;
      /** Whether the last entry that was found is the same as the one before, or next to it. */
      mutable bool inOrder = false;

      static Slot slotOf( std::size_t hash, std::size_t position ) {
         return ( hash & ~std::uint64_t{ 0xffffffff } ) | ( position + 1 );
      }
      static bool sameHash( Slot slot, std::size_t hash ) { return ( slot ^ hash ) >> 32 == 0; }
      static std::size_t positionOf( Slot slot ) { return ( slot & 0xffffffff ) - 1; }

      std::size_t find( K const & key ) const {
         std::size_t hash;
         return find( key, hash );
      }
      /** `hash` is set when the key is absent and there is an index. */
      std::size_t find( K const & key, std::size_t & hash ) const {
         if ( slots.empty() ) {
            for ( std::size_t i = 0; i != entries.size(); ++i ) {
               if ( entries[i].holds( key ) ) {
                  return i;
               }
            }
            return absent;
         }
         if ( inOrder ) {
            if ( next < entries.size() && entries[next].holds( key ) ) {
               return next++;
            }
            if ( next != 0 && entries[next - 1].holds( key ) ) {
               return next - 1;
            }
         }
         hash = spreadHash( key );
         std::size_t const position = findIndexed( key, hash );
         if ( position != absent ) {
            inOrder = position == next || position + 1 == next;
            next = position + 1;
         }
         return position;
      }
      std::size_t findIndexed( K const & key, std::size_t hash ) const {
         std::size_t const mask = slots.size() - 1;
         for ( std::size_t at = hash >> 32;; ++at ) {
            Slot const slot = slots[at & mask];
            if ( slot == 0 ) {
               return absent;
            }
            if ( slot != deletedSlot && sameHash( slot, hash ) &&
                 entries[positionOf( slot )].holds( key ) ) {
               return positionOf( slot );
            }
         }
      }

      /** `hash` as `find` has set it. */
      void append( std::size_t hash, Member && member ) {
         if ( entries.size() == entries.capacity() && entries.size() - live > entries.size() / 4 ) {
            closeGaps();
         }
         entries.push_back( Entry{ nextSequence++, std::move( member ) } );
         next = entries.size();
         ++live;
         if ( !slots.empty() ) {
            if ( entries.size() * 2 > slots.size() ) {
               growIndex();
            }
            insertSlot( hash, entries.size() - 1 );
         } else if ( entries.size() > indexFrom ) {
            buildIndex();
         }
      }

      void erase( std::size_t position ) {
         if ( !slots.empty() ) {
            deleteSlot( spreadHash( entries[position].member->key ), position );
         }
         entries[position].member.reset();
         --live;
         if ( entries.size() > 4 * ( live + indexFrom ) ) {
            closeGaps();
         }
      }

      void closeGaps() {
         std::erase_if( entries, []( Entry const & entry ) { return !entry.member; } );
         if ( entries.capacity() > 4 * ( live + indexFrom ) ) {
            entries.shrink_to_fit();
         }
         next = 0;
         slots.clear();
         if ( entries.size() > indexFrom ) {
            buildIndex();
         } else {
            slots.shrink_to_fit();
         }
      }

      void buildIndex() {
         std::size_t size = 32;
         while ( size < entries.size() * 4 ) {
            size *= 2;
         }
         slots.assign( size, 0 );
         for ( std::size_t i = 0; i != entries.size(); ++i ) {
            if ( entries[i].member ) {
               insertSlot( spreadHash( entries[i].member->key ), i );
            }
         }
      }

      void growIndex() {
         std::vector< Slot > const old =
            std::exchange( slots, std::vector< Slot >( slots.size() * 2, 0 ) );
         for ( Slot const slot : old ) {
            if ( slot != 0 && slot != deletedSlot ) {
               insertSlot( slot, positionOf( slot ) );
            }
         }
      }

      /** Of the hash the high half is read. */
      void insertSlot( std::size_t hash, std::size_t position ) {
         std::size_t mask = slots.size() - 1;
         std::size_t at = hash >> 32;
         while ( slots[at & mask] != 0 && slots[at & mask] != deletedSlot ) {
            ++at;
         }
         slots[at & mask] = slotOf( hash, position );
      }

      void deleteSlot( std::size_t hash, std::size_t position ) {
         std::size_t mask = slots.size() - 1;
         std::size_t at = hash >> 32;
         while ( slots[at & mask] != slotOf( hash, position ) ) {
            ++at;
         }
         slots[at & mask] = deletedSlot;
      }

      /** Moves on to the first entry whose number is at least `sequence`. */
      bool seek( std::uint64_t & sequence, std::size_t & position ) const {
         bool guessed = position < entries.size() && entries[position].sequence >= sequence &&
                        ( position == 0 || entries[position - 1].sequence < sequence );
         if ( !guessed ) {
            position = lowerBound( sequence );
         }
         while ( position != entries.size() && !entries[position].member ) {
            ++position;
         }
         if ( position == entries.size() ) {
            return false;
         }
         sequence = entries[position].sequence;
         return true;
      }

      Member const * at( std::uint64_t sequence, std::size_t guess ) const {
         std::size_t position = guess < entries.size() && entries[guess].sequence == sequence
                                   ? guess
                                   : lowerBound( sequence );
         bool stands = position < entries.size() && entries[position].sequence == sequence &&
                       entries[position].member;
         return stands ? &*entries[position].member : nullptr;
      }

      std::size_t lowerBound( std::uint64_t sequence ) const {
         auto found = std::lower_bound(
            entries.begin(), entries.end(), sequence,
            []( Entry const & entry, std::uint64_t wanted ) { return entry.sequence < wanted; } );
         return static_cast< std::size_t >( found - entries.begin() );
      }
   };

   std::unique_ptr< Rep > rep_;
};

}  // namespace Kel
