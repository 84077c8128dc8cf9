#include "platform/slab/SharedTable.h"

#include <time.h>

#include <chrono>

#include "platform/kel/Exceptions.h"
#include "platform/slab/Words.h"

namespace Slab {

using Words::Digest;
using Words::load;
using Words::store;

namespace {

/** How long a reader waits for a writer that is in the middle of a change. */
class Patience {
 public:
   explicit Patience( pid_t writer ) : writer_( writer ) {}

   /** Pauses before another attempt; false if there should be none. */
   bool wait() {
      if ( ++attempts_ <= 64 ) {
         return true;  // a row takes less than a microsecond to write
      }
      if ( writerDied_ ) {
         return false;
      }
      if ( !processAlive( writer_ ) ) {
         // It may have finished just before it ended: look once more.
         writerDied_ = true;
         return true;
      }
      auto const now = std::chrono::steady_clock::now();
      if ( !deadline_ ) {
         deadline_ = now + std::chrono::seconds( 1 );
      }
      if ( now >= *deadline_ ) {
         return false;
      }
      timespec const pause = { 0, 20'000 };
      ::nanosleep( &pause, nullptr );
      return true;
   }

 private:
   pid_t writer_;
   unsigned attempts_ = 0;
   bool writerDied_ = false;
   std::optional< std::chrono::steady_clock::time_point > deadline_;
};

std::uint32_t checked( char const * what, std::size_t value, std::size_t least, std::size_t most ) {
   if ( value < least || value > most ) {
      Kel::throwRangeException( std::string( "Slab table: " ) + what + " " +
                                std::to_string( value ) + " is not in " + std::to_string( least ) +
                                " to " + std::to_string( most ) );
   }
   return static_cast< std::uint32_t >( value );
}

}  // namespace

// Creation and geometry

SharedTable SharedTable::create( std::string const & name, std::size_t keyLength,
                                 std::size_t rowLength, std::size_t capacity ) {
   return SharedTable( name, checked( "key length", keyLength, 1, Layout::maxLength ),
                       checked( "row length", rowLength, 0, Layout::maxLength ),
                       checked( "capacity", capacity, 1, Layout::maxCapacity ) );
}

SharedTable SharedTable::open( std::string const & name, std::size_t keyLength,
                               std::size_t rowLength ) {
   return SharedTable( name, checked( "key length", keyLength, 1, Layout::maxLength ),
                       checked( "row length", rowLength, 0, Layout::maxLength ) );
}

SharedTable::SharedTable( std::string const & name, std::uint32_t keyLength,
                          std::uint32_t rowLength, std::uint32_t capacity )
   : segment_( Segment::create( name, Layout::Geometry( keyLength, rowLength, capacity ).size ) ),
     keyLength_( keyLength ),
     rowLength_( rowLength ),
     capacity_( capacity ),
     geometry_( keyLength, rowLength, capacity ),
     writer_( ::getpid() ) {
   header().version = Layout::version;
   header().keyLength = keyLength;
   header().rowLength = rowLength;
   header().capacity = capacity;
   header().writer = writer_;
   header().buckets = Layout::leastBuckets;
   store( header().magic, Layout::magic, std::memory_order_release );
}

SharedTable::SharedTable( std::string const & name, std::uint32_t keyLength,
                          std::uint32_t rowLength )
   : segment_( Segment::open( name ) ),
     keyLength_( keyLength ),
     rowLength_( rowLength ),
     capacity_( checkedCapacity() ),
     geometry_( keyLength, rowLength, capacity_ ),
     writer_( header().writer ) {
   if ( segment_.size() < geometry_.size ) {
      throw Corruption( "Slab table " + name + ": the segment is shorter than its header says" );
   }
}

std::uint32_t SharedTable::checkedCapacity() const {
   auto const require = [this]( bool sound, char const * reason ) {
      if ( !sound ) {
         throw Corruption( "Slab table " + name() + ": " + reason );
      }
   };
   require( segment_.size() >= sizeof( Layout::Header ) &&
               load( header().magic, std::memory_order_acquire ) == Layout::magic,
            "the segment holds no complete table" );
   require( header().version == Layout::version, "the table is of another version" );
   require( header().keyLength == keyLength_, "the table has keys of another length" );
   require( header().rowLength == rowLength_, "the table has rows of another length" );
   require( header().capacity >= 1 && header().capacity <= Layout::maxCapacity,
            "the capacity in the header is impossible" );
   return header().capacity;
}

Layout::Header & SharedTable::header() const {
   return *reinterpret_cast< Layout::Header * >( segment_.data() );
}

std::uint64_t & SharedTable::bucket( std::size_t number ) const {
   // The second mask keeps a damaged header from leading out of the segment.
   number &= ( load( header().buckets ) - 1 ) & ( geometry_.buckets - 1 );
   return *reinterpret_cast< std::uint64_t * >( segment_.data() + geometry_.index + 8 * number );
}

Layout::RowHeader & SharedTable::row( std::size_t slot ) const {
   return *reinterpret_cast< Layout::RowHeader * >( segment_.data() + geometry_.rows +
                                                    slot * geometry_.stride );
}

std::uint64_t * SharedTable::keyWords( std::size_t slot ) const {
   return reinterpret_cast< std::uint64_t * >( &row( slot ) + 1 );
}

std::uint64_t * SharedTable::rowWords( std::size_t slot ) const {
   return keyWords( slot ) + geometry_.keyWords;
}

void SharedTable::requireKey( Bytes key ) const {
   if ( key.size() != keyLength_ ) {
      throw std::invalid_argument( "Slab table " + name() + ": a key of a wrong length" );
   }
}

void SharedTable::requireRow( Bytes row ) const {
   if ( row.size() != rowLength_ ) {
      throw std::invalid_argument( "Slab table " + name() + ": a row of a wrong length" );
   }
}

void SharedTable::requireWriter() const {
   if ( !writable() ) {
      throw std::logic_error( "Slab table " + name() + ": a reader can't write" );
   }
}

// Reading

std::size_t SharedTable::size() const {
   return load( header().size );
}

void SharedTable::throwCorruption( Reading reading, std::size_t slot ) const {
   std::string text = "Slab table " + name() + ": ";
   switch ( reading ) {
      case Reading::Torn:
         text += "row " + std::to_string( slot ) + " is half written";
         break;
      case Reading::Damaged:
         text += "row " + std::to_string( slot ) + " does not match its checksum";
         break;
      case Reading::Rearranging:
         text += "rows are being moved";
         break;
      default:
         text += "the index refers to rows that can't be";
   }
   if ( reading == Reading::Torn || reading == Reading::Rearranging ) {
      text +=
         processAlive( writer_ ) ? ", and the writer does not get on" : ", and the writer has died";
   }
   throw Corruption( text );
}

/*
 * What makes a read whole. The writer makes a sequence word odd, puts a release fence, writes, and
 * stores the next even number with release. A reader loads an even number with acquire, reads, puts
 * an acquire fence, and finds the same number again: if it had read anything of a later write, the
 * fences would have shown it that write's odd number. This holds twice, for the sequence of one row
 * and for the arrangement of the table, which covers what slots and buckets refer to.
 */
template < typename Attempt >
SharedTable::Reading SharedTable::settled( Attempt attempt ) const {
   Patience patience( writer_ );
   for ( ;; ) {
      auto const arrangement = load( header().arrangement, std::memory_order_acquire );
      auto reading = Reading::Rearranging;
      if ( !Words::isOdd( arrangement ) ) {
         reading = attempt( arrangement );
         std::atomic_thread_fence( std::memory_order_acquire );
         if ( load( header().arrangement ) != arrangement ) {
            reading = Reading::Rearranging;
         }
      }
      bool const again = reading == Reading::Torn || reading == Reading::Rearranging;
      if ( !again || !patience.wait() ) {
         return reading;
      }
   }
}

SharedTable::Reading SharedTable::readRow( std::size_t slot, Bytes wanted, MutableBytes keyOut,
                                           MutableBytes rowOut ) const {
   Layout::RowHeader const & from = row( slot );
   auto const sequence = load( from.sequence, std::memory_order_acquire );
   if ( Words::isOdd( sequence ) ) {
      return Reading::Torn;
   }

   auto const state = load( from.state );
   auto const checksum = load( from.checksum );
   Digest digest;
   bool same = true;
   auto const copy = [&]( std::uint64_t const * words, std::size_t length, MutableBytes out,
                          Bytes compared ) {
      Words::forEach( length, [&]( std::size_t i, std::size_t offset, std::size_t count ) {
         std::uint64_t const word = load( words[i] );
         digest.add( word );
         if ( !out.empty() ) {
            std::memcpy( out.data() + offset, &word, count );
         }
         if ( !compared.empty() ) {
            same = same && word == Words::at( compared, offset, count );
         }
      } );
   };
   if ( state == Layout::Used ) {
      copy( keyWords( slot ), keyLength_, keyOut, wanted );
      copy( rowWords( slot ), rowLength_, rowOut, {} );
   }

   std::atomic_thread_fence( std::memory_order_acquire );
   if ( load( from.sequence ) != sequence ) {
      return Reading::Torn;
   }
   if ( !Layout::isRow( state ) ) {
      return Reading::Absent;
   }
   if ( state != Layout::Used || digest.value() != checksum ) {
      return Reading::Damaged;
   }
   return same ? Reading::Found : Reading::Absent;
}

SharedTable::Reading SharedTable::probe( Bytes key, MutableBytes rowOut,
                                         std::size_t & slot ) const {
   auto const hash = Words::digestOf( { key } );
   for ( std::size_t step = 0; step < geometry_.buckets; ++step ) {
      auto const entry = load( bucket( hash + step ), std::memory_order_acquire );
      if ( entry == 0 ) {
         return Reading::Absent;
      }
      if ( Layout::fingerprint( entry ) != Layout::fingerprint( hash ) ) {
         continue;
      }
      slot = static_cast< std::uint32_t >( entry ) - 1U;
      if ( slot >= geometry_.slots ) {
         return Reading::BadIndex;
      }
      // A row that shows the key's fingerprint and is damaged counts as the key's: its key may be
      // what is damaged.
      auto const reading = readRow( slot, key, {}, rowOut );
      if ( reading != Reading::Absent ) {
         return reading;
      }
   }
   return Reading::BadIndex;
}

bool SharedTable::lookup( Bytes key, MutableBytes rowOut ) const {
   requireKey( key );
   requireRow( rowOut );
   std::size_t slot = 0;
   auto const reading = settled( [&]( auto ) { return probe( key, rowOut, slot ); } );
   if ( reading == Reading::Found || reading == Reading::Absent ) {
      return reading == Reading::Found;
   }
   throwCorruption( reading, slot );
}

bool SharedTable::lookupUnchecked( Bytes key, MutableBytes rowOut ) const {
   requireKey( key );
   requireRow( rowOut );
   auto const hash = Words::digestOf( { key } );
   for ( std::size_t step = 0; step < geometry_.buckets; ++step ) {
      auto const entry = load( bucket( hash + step ), std::memory_order_acquire );
      std::size_t const slot = static_cast< std::uint32_t >( entry ) - 1U;
      if ( entry == 0 || slot >= geometry_.slots ) {
         return false;
      }
      if ( Layout::fingerprint( entry ) != Layout::fingerprint( hash ) ||
           load( row( slot ).state ) != Layout::Used ) {
         continue;
      }
      if ( !Words::equal( keyWords( slot ), key ) ) {
         continue;
      }
      Words::forEach( rowLength_, [&]( std::size_t i, std::size_t offset, std::size_t count ) {
         std::uint64_t const word = load( rowWords( slot )[i] );
         std::memcpy( rowOut.data() + offset, &word, count );
      } );
      return true;
   }
   return false;
}

std::size_t SharedTable::firstSlotAfter( std::uint64_t insertion, std::size_t end ) const {
   std::size_t first = 0;
   while ( first < end ) {
      std::size_t const middle = first + ( end - first ) / 2;
      if ( load( row( middle ).insertion ) <= insertion ) {
         first = middle + 1;
      } else {
         end = middle;
      }
   }
   return first;
}

bool SharedTable::Cursor::next( MutableBytes keyOut, MutableBytes rowOut ) {
   if ( !keyOut.empty() ) {
      table_->requireKey( keyOut );
   }
   if ( !rowOut.empty() ) {
      table_->requireRow( rowOut );
   }
   if ( finished_ ) {
      return false;
   }

   std::size_t slot = 0;
   std::uint64_t insertion = 0;
   auto const reading = table_->settled( [&]( std::uint64_t arrangement ) {
      std::size_t const end = load( table_->header().end, std::memory_order_acquire );
      if ( end > table_->geometry_.slots ) {
         return Reading::BadIndex;
      }
      if ( arrangement != arrangement_ ) {
         slot_ = table_->firstSlotAfter( last_, end );
         arrangement_ = arrangement;
      }
      for ( slot = slot_; slot < end; ++slot ) {
         auto const met = table_->readRow( slot, {}, keyOut, rowOut );
         if ( met != Reading::Absent ) {
            insertion = load( table_->row( slot ).insertion );
            return met;
         }
      }
      return Reading::Absent;
   } );

   switch ( reading ) {
      case Reading::Absent:
         slot_ = slot;
         return false;
      case Reading::Rearranging:
      case Reading::BadIndex:
         finished_ = true;
         break;
      default:
         slot_ = slot + 1;
         last_ = insertion;
   }
   if ( reading != Reading::Found ) {
      table_->throwCorruption( reading, slot );
   }
   return true;
}

}  // namespace Slab
