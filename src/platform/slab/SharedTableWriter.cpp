#include <algorithm>
#include <bit>

#include "platform/kel/Exceptions.h"
#include "platform/slab/SharedTable.h"
#include "platform/slab/Words.h"

namespace Slab {

using Words::Digest;
using Words::load;
using Words::store;

/** The only way in which a row changes. */
template < typename Change >
void SharedTable::writeRow( std::size_t slot, Change change ) {
   Layout::RowHeader & to = row( slot );
   std::uint32_t const odd = ( load( to.sequence ) | 1U );
   store( to.sequence, odd );
   std::atomic_thread_fence( std::memory_order_release );
   change( to );
   store( to.sequence, odd + 1, std::memory_order_release );
}

/** The only way in which rows move and buckets are emptied. */
template < typename Change >
void SharedTable::rearrange( Change change ) {
   auto const odd = load( header().arrangement ) | 1U;
   store( header().arrangement, odd );
   std::atomic_thread_fence( std::memory_order_release );
   // Emptying from each row's first bucket to the end of the run reaches every entry, without a
   // visit to the buckets that were never used.
   for ( std::size_t slot = 0; slot < load( header().end ); ++slot ) {
      for ( auto number = row( slot ).hash; load( bucket( number ) ) != 0; ++number ) {
         store( bucket( number ), std::uint64_t( 0 ) );
      }
   }
   change();
   store( header().arrangement, odd + 1, std::memory_order_release );
}

std::uint64_t SharedTable::storedChecksum( std::size_t slot ) const {
   Digest digest;
   for ( std::size_t i = 0; i < geometry_.keyWords + geometry_.rowWords; ++i ) {
      digest.add( load( keyWords( slot )[i] ) );
   }
   return digest.value();
}

std::optional< std::size_t > SharedTable::find( Bytes key, std::uint64_t hash ) const {
   for ( std::size_t step = 0;; ++step ) {
      auto const entry = load( bucket( hash + step ) );
      if ( entry == 0 ) {
         return std::nullopt;
      }
      std::size_t const slot = static_cast< std::uint32_t >( entry ) - 1U;
      if ( Layout::fingerprint( entry ) != Layout::fingerprint( hash ) ||
           !Layout::isRow( load( row( slot ).state ) ) ) {
         continue;
      }
      // As in a reader's probe: a damaged row belongs to the key whose fingerprint it shows.
      if ( Words::equal( keyWords( slot ), key ) || load( row( slot ).state ) != Layout::Used ||
           load( row( slot ).checksum ) != storedChecksum( slot ) ) {
         return slot;
      }
   }
}

bool SharedTable::holds( std::size_t slot, Bytes key, Bytes bytes, std::uint64_t checksum ) const {
   Layout::RowHeader const & from = row( slot );
   return !Words::isOdd( load( from.sequence ) ) && load( from.state ) == Layout::Used &&
          load( from.checksum ) == checksum && Words::equal( keyWords( slot ), key ) &&
          Words::equal( rowWords( slot ), bytes );
}

PutResult SharedTable::put( Bytes key, Bytes bytes ) {
   requireWriter();
   requireKey( key );
   requireRow( bytes );
   auto const hash = Words::digestOf( { key } );
   auto const checksum = Words::digestOf( { key, bytes } );
   auto const found = find( key, hash );
   if ( found && holds( *found, key, bytes, checksum ) ) {
      return PutResult::Unchanged;
   }

   auto const size = load( header().size );
   if ( !found && size == capacity_ ) {
      Kel::throwRangeException( "Slab table " + name() + " is full: it holds " +
                                std::to_string( capacity_ ) + " rows" );
   }
   if ( !found ) {
      // The insertions and deletions since the last time outnumber what this touches, or nearly so.
      // It is done early, so that a large table of few rows stays on few pages through any number
      // of changes.
      auto const end = load( header().end );
      if ( end == geometry_.slots || 2 * end >= load( header().buckets ) ||
           end - size > std::uint64_t( size ) + 64 ) {
         compact();
      }
   }

   auto const slot = found ? *found : load( header().end );
   writeRow( slot, [&]( Layout::RowHeader & to ) {
      auto const copy = []( Bytes from, std::uint64_t * words ) {
         Words::forEach( from.size(), [&]( std::size_t i, std::size_t offset, std::size_t count ) {
            store( words[i], Words::at( from, offset, count ) );
         } );
      };
      copy( key, keyWords( slot ) );
      copy( bytes, rowWords( slot ) );
      store( to.checksum, checksum );
      store( to.state, std::uint32_t( Layout::Used ) );
      store( to.hash, hash );
      if ( !found ) {
         store( to.insertion, nextInsertion_++ );
      }
   } );
   if ( found ) {
      return PutResult::Changed;
   }
   indexRow( slot );
   store( header().end, std::uint64_t( slot + 1 ), std::memory_order_release );
   store( header().size, size + 1 );
   return PutResult::Inserted;
}

/** Makes the row, complete by now, visible to lookups. */
void SharedTable::indexRow( std::size_t slot ) {
   auto const hash = load( row( slot ).hash );
   auto number = hash;
   while ( load( bucket( number ) ) != 0 ) {
      ++number;
   }
   store( bucket( number ), ( Layout::fingerprint( hash ) << 32 ) | ( slot + 1 ),
          std::memory_order_release );
}

bool SharedTable::erase( Bytes key ) {
   requireWriter();
   requireKey( key );
   auto const found = find( key, Words::digestOf( { key } ) );
   if ( !found ) {
      return false;
   }
   writeRow( *found, []( Layout::RowHeader & to ) {
      store( to.state, std::uint32_t( Layout::Deleted ) );
   } );
   store( header().size, load( header().size ) - 1 );
   return true;
}

void SharedTable::clear() {
   requireWriter();
   rearrange( [this] {
      for ( std::size_t slot = 0; slot < load( header().end ); ++slot ) {
         writeRow( slot, []( Layout::RowHeader & to ) {
            store( to.state, std::uint32_t( Layout::Free ) );
         } );
      }
      store( header().end, std::uint64_t( 0 ) );
      store( header().size, std::uint32_t( 0 ) );
   } );
}

/** Squeezes deleted rows out and fits the index to the number of rows. */
void SharedTable::compact() {
   rearrange( [this] {
      std::uint64_t const wanted =
         std::bit_ceil( 4 * ( std::uint64_t( load( header().size ) ) + 1 ) );
      store( header().buckets,
             std::clamp< std::uint64_t >( wanted, Layout::leastBuckets, geometry_.buckets ) );
      std::size_t const end = load( header().end );
      std::size_t kept = 0;
      for ( std::size_t slot = 0; slot < end; ++slot ) {
         Layout::RowHeader const & from = row( slot );
         if ( !Layout::isRow( load( from.state ) ) ) {
            continue;
         }
         if ( kept != slot ) {
            writeRow( kept, [&]( Layout::RowHeader & to ) {
               store( to.state, load( from.state ) );
               store( to.insertion, load( from.insertion ) );
               store( to.checksum, load( from.checksum ) );  // damage moves along
               store( to.hash, load( from.hash ) );
               for ( std::size_t i = 0; i < geometry_.keyWords + geometry_.rowWords; ++i ) {
                  store( keyWords( kept )[i], load( keyWords( slot )[i] ) );
               }
            } );
         }
         indexRow( kept++ );
      }
      for ( std::size_t slot = kept; slot < end; ++slot ) {
         writeRow( slot, []( Layout::RowHeader & to ) {
            store( to.state, std::uint32_t( Layout::Free ) );
         } );
      }
      store( header().end, std::uint64_t( kept ) );
   } );
}

bool SharedTable::corruptChecksum( Bytes key ) {
   requireWriter();
   requireKey( key );
   auto const found = find( key, Words::digestOf( { key } ) );
   if ( found ) {
      writeRow( *found, [&]( Layout::RowHeader & to ) {
         store( to.checksum, ~storedChecksum( *found ) );
      } );
   }
   return found.has_value();
}

}  // namespace Slab
