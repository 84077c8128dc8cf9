#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "platform/kel/TraceHandle.h"

/** What the trace file looks like, for its writer and its decoder alone.
 *
 *    page 0       FileHeader
 *    ring 0..9    each as large as its control says; a level without ring has size 0
 *    descriptors  one per trace point that was hit, in the order of their first hits; this part
 *                 comes last because it grows
 *
 * Numbers are in the writer's byte order. Everything that readers go by (a ring's `tail` and
 * `head`, `descUsed`) is moved only when what it covers is whole, so a process that is killed at
 * any instruction leaves a file that holds all its finished records. */
namespace Flashlog::Format {

inline constexpr char magic[8] = { 'Q', 'O', 'R', 'F', 'L', 'A', 'S', 'H' };
inline constexpr std::uint32_t version = 2;
inline constexpr std::uint32_t byteOrderMark = 0x01020304;
inline constexpr std::size_t headerSize = 4096;

// Bounds that the writer keeps, so that a reader can refuse what exceeds them before it allocates.
inline constexpr std::uint64_t maxRingKiB = 4096;
inline constexpr std::uint64_t maxDescBytes = 4 << 20;
inline constexpr std::size_t maxDescText = 4096;
inline constexpr std::size_t maxArgs = 64;
inline constexpr std::size_t minMsgSize = 320;  // room for a head and that many numbers
inline constexpr std::size_t maxMsgSize = 32760;

/** Positions count bytes since the file was made; the place in the ring is the position modulo
 * the ring's size. Records stand in [tail, head). */
struct RingControl {
   std::uint64_t offset;  // of the ring in the file
   std::uint64_t size;
   std::uint64_t tail;
   std::uint64_t head;
};

struct FileHeader {
   char magic[8];
   std::uint32_t version;
   std::uint32_t byteOrder;
   std::uint32_t pid;
   std::uint32_t descLost;  // trace points that found no room for their descriptor
   std::uint64_t descOffset;
   std::uint64_t descUsed;
   RingControl ring[Kel::traceLevels];
};
static_assert( sizeof( FileHeader ) <= headerSize );

/** Before each record, which is a multiple of 8 bytes long and never wraps: what is left at the
 * ring's end is covered by a filler (id 0), or is just skipped if it is shorter than a head.
 * The arguments follow raw: "i" 4 bytes, "s" 2, "b" 1, "p" a 2-byte length and the text. */
struct RecordHead {
   std::uint64_t sequence : 48;  // counts over all rings
   std::uint64_t size : 16;      // with the head
   std::uint64_t time;           // nanoseconds since 1970
   std::uint32_t id;
   std::uint32_t check;
};
static_assert( sizeof( RecordHead ) == 24 );

/** In a "p" length: the text was cut to fit. */
inline constexpr std::uint16_t cutText = 0x8000;

/** Before each descriptor, which is a multiple of 8 bytes long. The unit's name follows, then the
 * text: '%' and a format character stand for an argument, "%%" for a per cent sign. */
struct DescHead {
   std::uint32_t id;
   std::uint32_t line;
   std::uint16_t unitLength;
   std::uint16_t textLength;
   std::uint32_t check;
};
static_assert( sizeof( DescHead ) == 16 );

constexpr std::uint64_t roundUp( std::uint64_t size ) {
   return ( size + 7 ) & ~std::uint64_t{ 7 };
}

/** Tells a head with what follows it from what damage leaves in their place. Its `check` itself
 *  doesn't count. No word waits for another one's share, since a trace point has to be quick; each
 *  has a factor of its own, so that changes in two of them don't undo each other. */
template < class Head >
std::uint32_t checkOf( Head head, std::string_view behind ) {
   head.check = 0;
   std::uint64_t sum = behind.size();
   std::uint64_t factor = 0x9e3779b185ebca87;
   auto const add = [&]( char const * at, std::size_t size ) {
      std::uint64_t word = 0;
      std::memcpy( &word, at, size );
      sum += std::rotl( word * 0xc2b2ae3d27d4eb4f, 31 ) * factor;
      factor += 0xd6e8feb86659fd92;
   };
   static_assert( sizeof head % 8 == 0 );
   for ( std::size_t i = 0; i != sizeof head; i += 8 ) {
      add( reinterpret_cast< char const * >( &head ) + i, 8 );
   }
   for ( ; behind.size() >= 8; behind.remove_prefix( 8 ) ) {
      add( behind.data(), 8 );
   }
   if ( !behind.empty() ) {
      add( behind.data(), behind.size() );
   }
   sum = ( sum ^ sum >> 32 ) * 0xd6e8feb86659fd93;
   return static_cast< std::uint32_t >( sum >> 32 );
}

}  // namespace Flashlog::Format
