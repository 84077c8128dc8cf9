#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <utility>

namespace Kel {

/**
 * The entries of a hash map in order of insertion, each with a number that only grows; a deletion
 * leaves a gap. Written by hand, because every map of the program has it compiled, and a standard
 * vector of optionals takes the compiler several times as long.
 */
template < class Member >
class MapEntries {
 public:
   class Entry {
    public:
      Entry() {}
      ~Entry() {}
      /** Which of all entries of the map, from 1 on; a gap keeps the number. */
      std::uint64_t sequence() const { return word_ >> 1; }
      /** False for a gap. */
      bool stands() const { return word_ & 1; }
      Member & member() { return member_; }
      Member const & member() const { return member_; }

    private:
      friend class MapEntries;
      std::uint64_t word_;
      union {
         Member member_;
      };
   };

   MapEntries() = default;
   MapEntries( MapEntries const & ) = delete;
   MapEntries & operator=( MapEntries const & ) = delete;
   ~MapEntries() {
      for ( std::size_t i = 0; i != size_; ++i ) {
         if ( entries_[i].stands() ) {
            std::destroy_at( &entries_[i].member_ );
         }
      }
      deallocate();
   }

   /** Gaps included. */
   std::size_t size() const { return size_; }
   std::size_t capacity() const { return capacity_; }
   Entry & operator[]( std::size_t position ) { return entries_[position]; }
   Entry const & operator[]( std::size_t position ) const { return entries_[position]; }

   void append( std::uint64_t sequence, Member && member ) {
      if ( size_ == capacity_ ) {
         relocate( capacity_ == 0 ? 1 : capacity_ * 2, true );
      }
      Entry * const entry = new ( entries_ + size_ ) Entry;
      std::construct_at( &entry->member_, std::move( member ) );
      entry->word_ = sequence << 1 | 1;
      ++size_;
   }
   /** Leaves a gap. The member's end must run nobody else's code. */
   void erase( std::size_t position ) {
      std::destroy_at( &entries_[position].member_ );
      entries_[position].word_ &= ~std::uint64_t{ 1 };
   }
   void closeGaps( std::size_t capacity ) { relocate( capacity, false ); }

   /** The first position whose number is at least that. */
   std::size_t lowerBound( std::uint64_t sequence ) const {
      std::size_t low = 0;
      std::size_t high = size_;
      while ( low != high ) {
         std::size_t const middle = ( low + high ) / 2;
         if ( entries_[middle].sequence() < sequence ) {
            low = middle + 1;
         } else {
            high = middle;
         }
      }
      return low;
   }

 private:
   static_assert( alignof( Entry ) <= __STDCPP_DEFAULT_NEW_ALIGNMENT__ );

   void relocate( std::size_t capacity, bool keepGaps ) {
      auto * const fresh = static_cast< Entry * >( ::operator new( capacity * sizeof( Entry ) ) );
      std::size_t to = 0;
      for ( std::size_t from = 0; from != size_; ++from ) {
         Entry & old = entries_[from];
         if ( old.stands() || keepGaps ) {
            Entry * const entry = new ( fresh + to++ ) Entry;
            entry->word_ = old.word_;
            if ( old.stands() ) {
               std::construct_at( &entry->member_, std::move( old.member_ ) );
               std::destroy_at( &old.member_ );
            }
         }
      }
      deallocate();
      entries_ = fresh;
      size_ = to;
      capacity_ = capacity;
   }
   void deallocate() { ::operator delete( entries_ ); }

   Entry * entries_ = nullptr;
   std::size_t size_ = 0;
   std::size_t capacity_ = 0;
};

}  // namespace Kel
