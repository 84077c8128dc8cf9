#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <utility>

#include "platform/kel/Hash.h"
#include "platform/kel/MapEntries.h"
#include "platform/kel/MapSlots.h"

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
 * Entries stand in a dense array (MapEntries.h), each with a number that only grows; deletion
 * leaves a gap, and gaps are closed when an array that must grow has many, or when they are most of
 * it. A cursor remembers the number that it stands on, so that no move of the array can mislead it.
 * Beyond a few entries an index (MapSlots.h) is kept beside; look-ups that follow the order of the
 * entries, as those in a walk over another map do, find theirs without it.
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
   HashMap2018( HashMap2018 && other ) noexcept : rep_( std::exchange( other.rep_, nullptr ) ) {}
   HashMap2018 & operator=( HashMap2018 && other ) noexcept {
      delete std::exchange( rep_, std::exchange( other.rep_, nullptr ) );
      return *this;
   }
   ~HashMap2018() { delete rep_; }

   class Cursor {
    public:
      explicit Cursor( HashMap2018 const & map ) : map_( &map ) { settle(); }
      /** On the entry of that key; on the first entry when there is none. */
      Cursor( HashMap2018 const & map, K const & key ) : map_( &map ) {
         std::size_t const at = map.rep_ ? map.rep_->find( key ) : absent;
         if ( at != absent ) {
            sequence_ = map.rep_->entries[at].sequence();
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
      Member const & current() const { return map_->rep_->entries[position_].member(); }
      void advance() {
         ++sequence_;
         ++position_;
         // Between entries that stand side by side, the usual step.
         if ( Rep const * const rep = map_->rep_ ) {
            if ( position_ < rep->entries.size() &&
                 rep->entries[position_].sequence() == sequence_ &&
                 rep->entries[position_].stands() ) {
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
      return position == absent ? nullptr : &rep_->entries[position].member().value;
   }
   V * find( K const & key ) { return const_cast< V * >( std::as_const( *this ).find( key ) ); }
   bool has( K const & key ) const { return find( key ) != nullptr; }

   /** Adds or overwrites. True when something changed. */
   template < class U >
   bool set( K const & key, U && value ) {
      if ( !rep_ ) {
         rep_ = new Rep;
      }
      std::size_t hash = 0;
      std::size_t const position = rep_->find( key, hash );
      if ( position == absent ) {
         rep_->append( hash, Member{ key, V( std::forward< U >( value ) ) } );
         return true;
      }
      V & stored = rep_->entries[position].member().value;
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
         rep_ = new Rep;
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
      std::optional< V > value( std::move( rep_->entries[position].member().value ) );
      rep_->erase( position );
      return value;
   }
   /** False when absent. */
   bool erase( K const & key ) {
      std::size_t const position = rep_ ? rep_->find( key ) : absent;
      if ( position == absent ) {
         return false;
      }
      // What it holds may end with it, and change the map: at the end of this function.
      [[maybe_unused]] V const value( std::move( rep_->entries[position].member().value ) );
      rep_->erase( position );
      return true;
   }
   /** Cursors go on to what is added afterwards. */
   void clear() {
      if ( rep_ ) {
         Rep * const old = std::exchange( rep_, new Rep );
         rep_->nextSequence = old->nextSequence;
         delete old;
      }
   }

 private:
   static constexpr std::size_t absent = MapSlots::absent;
   /** Up to this many entries a look-up compares keys instead of keeping an index. */
   static constexpr std::size_t indexFrom = 8;

   /** The index uses the high bits, which a key's own hash may leave empty. */
   static std::size_t spreadHash( K const & key ) { return mixHash( hashOf( key ) ); }

   struct Rep {
      MapEntries< Member > entries;
      MapSlots slots;
      std::size_t live = 0;
      std::uint64_t nextSequence = 1;
      /** Behind the entry that was found or appended last. */
      mutable std::size_t next = 0;
      /** Whether the last entry that was found is the same as the one before, or next to it. */
      mutable bool inOrder = false;

      bool holds( std::size_t position, K const & key ) const {
         return entries[position].stands() && entries[position].member().key == key;
      }

      std::size_t find( K const & key ) const {
         std::size_t hash;
         return find( key, hash );
      }
      /** `hash` is set when the key is absent and there is an index. */
      std::size_t find( K const & key, std::size_t & hash ) const {
         if ( slots.empty() ) {
            for ( std::size_t i = 0; i != entries.size(); ++i ) {
               if ( holds( i, key ) ) {
                  return i;
               }
            }
            return absent;
         }
         if ( inOrder ) {
            if ( next < entries.size() && holds( next, key ) ) {
               return next++;
            }
            if ( next != 0 && holds( next - 1, key ) ) {
               return next - 1;
            }
         }
         hash = spreadHash( key );
         std::size_t const position = slots.find(
            hash, [this, &key]( std::size_t candidate ) { return holds( candidate, key ); } );
         if ( position != absent ) {
            inOrder = position == next || position + 1 == next;
            next = position + 1;
         }
         return position;
      }

      /** `hash` as `find` has set it. */
      void append( std::size_t hash, Member && member ) {
         if ( entries.size() == entries.capacity() && entries.size() - live > entries.size() / 4 ) {
            closeGaps();
         }
         entries.append( nextSequence++, std::move( member ) );
         next = entries.size();
         ++live;
         if ( !slots.empty() ) {
            slots.insert( hash, entries.size() - 1, entries.size() );
         } else if ( entries.size() > indexFrom ) {
            buildIndex();
         }
      }

      void erase( std::size_t position ) {
         if ( !slots.empty() ) {
            slots.erase( spreadHash( entries[position].member().key ), position );
         }
         entries.erase( position );
         --live;
         if ( entries.size() > 4 * ( live + indexFrom ) ) {
            closeGaps();
         }
      }

      void closeGaps() {
         bool const tooLarge = entries.capacity() > 4 * ( live + indexFrom );
         entries.closeGaps( tooLarge ? live : entries.capacity() );
         next = 0;
         if ( entries.size() > indexFrom ) {
            buildIndex();
         } else {
            slots.drop();
         }
      }

      void buildIndex() {
         slots.start( entries.size() );
         for ( std::size_t i = 0; i != entries.size(); ++i ) {
            if ( entries[i].stands() ) {
               slots.insert( spreadHash( entries[i].member().key ), i, entries.size() );
            }
         }
      }

      /** Moves on to the first entry whose number is at least `sequence`. */
      bool seek( std::uint64_t & sequence, std::size_t & position ) const {
         bool const guessed = position < entries.size() &&
                              entries[position].sequence() >= sequence &&
                              ( position == 0 || entries[position - 1].sequence() < sequence );
         if ( !guessed ) {
            position = entries.lowerBound( sequence );
         }
         while ( position != entries.size() && !entries[position].stands() ) {
            ++position;
         }
         if ( position == entries.size() ) {
            return false;
         }
         sequence = entries[position].sequence();
         return true;
      }

      Member const * at( std::uint64_t sequence, std::size_t guess ) const {
         std::size_t const position =
            guess < entries.size() && entries[guess].sequence() == sequence
               ? guess
               : entries.lowerBound( sequence );
         bool const stands = position < entries.size() &&
                             entries[position].sequence() == sequence && entries[position].stands();
         return stands ? &entries[position].member() : nullptr;
      }
   };

   Rep * rep_ = nullptr;
};

}  // namespace Kel
