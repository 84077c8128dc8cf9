#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

/**
 * How a table lies in its segment: header, hash index, rows.
 *
 *   Header | u64 index[ buckets ] | slots x ( RowHeader, key, row )
 *
 * Key and row are padded to words of 8 bytes. Rows are appended, so slots are in the order of
 * insertion, and insertion numbers rise from slot to slot. An index entry is the upper half of the
 * key's hash and the slot number plus one; 0 is an empty bucket. Between two arrangements slots and
 * index entries are only added: a deleted row keeps both, and its key when it comes back gets a new
 * slot and a later bucket of the same chain. Only a rearrangement moves rows, empties buckets and
 * changes how many of them are in use: few for few rows, so that these stay on few pages.
 */
namespace Slab::Layout {

inline constexpr std::uint64_t magic = 0x454c42415442414cU;
inline constexpr std::uint32_t version = 2;
inline constexpr std::uint64_t leastBuckets = 128;
inline constexpr std::uint32_t maxCapacity = 1U << 28;
inline constexpr std::uint32_t maxLength = 1U << 20;

/** Many bits apart, since no checksum covers them. */
enum RowState : std::uint32_t { Free = 0, Used = 0x9e3779b9, Deleted = 0x61c88646 };

/** Of a slot in use, anything but a deliberate end is a row, if perhaps a damaged one: memory that
 *  was emptied by another hand shows as Free. */
constexpr bool isRow( std::uint32_t state ) {
   return state != Deleted;
}

/** The half of a hash that an index entry shows; the other half chooses the bucket. */
constexpr std::uint64_t fingerprint( std::uint64_t hash ) {
   return hash >> 32;
}

struct Header {
   std::uint64_t magic;  // written last: what precedes it is complete
   std::uint32_t version;
   std::uint32_t keyLength;
   std::uint32_t rowLength;
   std::uint32_t capacity;
   std::int32_t writer;        // process id
   std::uint32_t size;         // used rows
   std::uint64_t arrangement;  // odd while rows move
   std::uint64_t end;          // slots in use, deleted rows included
   std::uint64_t buckets;      // in use, a power of two; changes only with the arrangement
};

struct RowHeader {
   std::uint32_t sequence;  // odd while the row is being written
   std::uint32_t state;
   std::uint64_t insertion;  // from 1; kept by an overwrite and by a move
   std::uint64_t checksum;   // of key and row
   std::uint64_t hash;       // of the key as it was put; the writer's own note
};

static_assert( std::atomic_ref< std::uint32_t >::is_always_lock_free &&
               std::atomic_ref< std::uint64_t >::is_always_lock_free );

/** Sizes and offsets in bytes, all derived from what the creator chooses. */
struct Geometry {
   constexpr Geometry( std::uint32_t keyLength, std::uint32_t rowLength, std::uint32_t capacity )
      : keyWords( ( keyLength + 7 ) / 8 ),
        rowWords( ( rowLength + 7 ) / 8 ),
        slots( capacity + capacity / 2 + 64 ),
        stride( sizeof( RowHeader ) + 8 * ( keyWords + rowWords ) ) {
      // At most half full, so that chains stay short and always end.
      while ( buckets < 2 * slots ) {
         buckets *= 2;
      }
      rows = index + 8 * buckets;
      size = rows + slots * stride;
   }

   std::size_t keyWords;
   std::size_t rowWords;
   std::size_t slots;  // more than rows, so that deleted ones need not be squeezed out at once
   std::size_t stride;
   std::size_t buckets = leastBuckets;  // at most
   std::size_t index = sizeof( Header );
   std::size_t rows = 0;
   std::size_t size = 0;
};

}  // namespace Slab::Layout
