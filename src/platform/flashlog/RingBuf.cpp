#include <time.h>

#include <algorithm>
#include <atomic>
#include <cstring>

#include "platform/flashlog/TraceFile.h"

namespace Flashlog {

using Format::RecordHead;

namespace {

std::uint64_t now() {
   timespec time{};
   ::clock_gettime( CLOCK_REALTIME, &time );
   return static_cast< std::uint64_t >( time.tv_sec ) * 1'000'000'000 +
          static_cast< std::uint64_t >( time.tv_nsec );
}

void publish( std::uint64_t & position, std::uint64_t value ) {
   std::atomic_ref( position ).store( value, std::memory_order_release );
}

/** Puts a head before the arguments that stand behind it; of a filler nothing behind it counts. */
void writeHead( char * at, std::uint64_t sequence, std::uint64_t size, std::uint64_t time,
                std::uint32_t id ) {
   RecordHead head{};
   head.sequence = sequence & 0xffff'ffff'ffff;
   head.size = size & 0xffff;
   head.time = time;
   head.id = id;
   std::size_t const behind = id == 0 ? 0 : size - sizeof head;
   head.check = Format::checkOf( head, { at + sizeof head, behind } );
   std::memcpy( at, &head, sizeof head );
}

}  // namespace

RingBuf & RingBuf::startMsg( TraceFile & file, MsgId id ) {
   RingBuf & ring = file.ring( id );
   ring.id_ = id;
   ring.time_ = now();
   ring.makeRoom();
   char * const record = ring.base_ + ring.start_ % ring.size_;
   ring.cursor_ = record + sizeof( RecordHead );
   ring.limit_ = record + ring.maxMsg_;
   return ring;
}

void RingBuf::endMsg() {
   char * const record = base_ + start_ % size_;
   auto const size = Format::roundUp( static_cast< std::uint64_t >( cursor_ - record ) );
   writeHead( record, file_->nextSequence(), size, time_, id_ );
   head_ = start_ + size;
   publish( *publishedHead_, head_ );
}

/** Sets `start_` so that the longest record fits behind it in one piece, and drops the old
 * records that stood there. They are dropped for readers before they are overwritten. Since a
 * record is at most half a ring, the tail never has to pass the head for that. */
void RingBuf::makeRoom() {
   std::uint64_t const left = size_ - head_ % size_;
   start_ = left < maxMsg_ ? head_ + left : head_;
   auto const tail = tail_;
   while ( tail_ + size_ < start_ + maxMsg_ && tail_ < head_ ) {
      tail_ += sizeAt( tail_ );
   }
   if ( tail_ != tail ) {
      publish( *publishedTail_, tail_ );
      // The stores into the record must not move up before the one that drops the old ones.
      std::atomic_thread_fence( std::memory_order_release );
   }
   if ( start_ != head_ && left >= sizeof( RecordHead ) ) {
      writeHead( base_ + head_ % size_, 0, left, time_, 0 );
   }
}

/** Length of what stands at `position`, which is in [tail_, head_). */
std::uint64_t RingBuf::sizeAt( std::uint64_t position ) const {
   std::uint64_t const left = size_ - position % size_;
   if ( left < sizeof( RecordHead ) ) {
      return left;
   }
   RecordHead record;
   std::memcpy( &record, base_ + position % size_, sizeof record );
   // Another process may have scribbled on the file: then the whole ring is given up.
   bool const sane = record.size >= sizeof record && record.size <= head_ - position;
   return sane ? record.size : head_ - position;
}

void RingBuf::append( void const * bytes, std::size_t size ) {
   size = std::min( size, room() );
   std::memcpy( cursor_, bytes, size );
   cursor_ += size;
}

void put( RingBuf & ring, std::uint32_t value ) {
   ring.append( &value, sizeof value );
}

void put( RingBuf & ring, std::uint16_t value ) {
   ring.append( &value, sizeof value );
}

void put( RingBuf & ring, bool value ) {
   char const byte = value ? 1 : 0;
   ring.append( &byte, 1 );
}

void put( RingBuf & ring, std::string_view text, std::size_t keep ) {
   std::size_t const taken = keep + sizeof( std::uint16_t );
   auto const kept = text.substr( 0, ring.room() > taken ? ring.room() - taken : 0 );
   auto length = static_cast< std::uint16_t >( kept.size() );
   if ( kept.size() < text.size() ) {
      length |= Format::cutText;
   }
   put( ring, length );
   ring.append( kept.data(), kept.size() );
}

}  // namespace Flashlog
