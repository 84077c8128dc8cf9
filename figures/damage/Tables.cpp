#include <fcntl.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstring>
#include <optional>
#include <span>

#include "damage/Count.h"
#include "platform/slab/SharedTable.h"

/* Rows of a table in shared memory, whose writer has died: what is half written stays so. */

namespace Damage {

namespace {

using Key = std::uint64_t;
using Row = std::array< std::byte, 52 >;

constexpr Key rows = 16;

auto bytes( auto const & value ) {
   return std::as_bytes( std::span( &value, 1 ) );
}
auto out( auto & value ) {
   return std::as_writable_bytes( std::span( &value, 1 ) );
}

Row rowOf( Key key, unsigned version ) {
   Row row;
   for ( std::size_t i = 0; i != row.size(); ++i ) {
      row[i] = static_cast< std::byte >( key * 31 + i * 7 + version * 101 );
   }
   return row;
}

/** A process that isn't there any more. */
pid_t endedProcess() {
   pid_t const pid = ::fork();
   if ( pid == 0 ) {
      ::_exit( 0 );
   }
   ::waitpid( pid, nullptr, 0 );
   return pid;
}

/** The whole of a table's memory, to write. */
class Memory {
 public:
   explicit Memory( std::string const & name, std::size_t size ) : size_( size ) {
      int const fd = ::shm_open( name.c_str(), O_RDWR, 0 );
      at_ = static_cast< char * >(
         ::mmap( nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0 ) );
      ::close( fd );
   }
   ~Memory() { ::munmap( at_, size_ ); }
   Memory( Memory const & ) = delete;
   Memory & operator=( Memory const & ) = delete;
   char * at() const { return at_; }

 private:
   std::size_t size_;
   char * at_;
};

/** What a look-up and a walk make of the table. */
struct Met {
   bool refused = false;
   bool taken = false;
   bool absent = false;
   /** A row whole as it was before, with its checksum. */
   bool earlier = false;

   void row( Key key, Row const & row ) {
      if ( row != rowOf( key, 1 ) ) {
         ( row == rowOf( key, 0 ) ? earlier : taken ) = true;
      }
   }
};

Met readAll( Slab::SharedTable const & table, Key damaged ) {
   Met met;
   Row row;
   try {
      if ( table.lookup( bytes( damaged ), out( row ) ) ) {
         met.row( damaged, row );
      } else {
         met.absent = true;
      }
   } catch ( Slab::Corruption const & ) {
      met.refused = true;
   }
   Key seen = 0;
   for ( auto cursor = table.begin();; ) {
      Key key = 0;
      try {
         if ( !cursor.next( out( key ), row ) ) {
            break;
         }
         ++seen;
         if ( key < rows ) {
            met.row( key, row );
         } else {
            met.taken = true;
         }
      } catch ( Slab::Corruption const & ) {
         met.refused = true;
      }
   }
   // One that the walk tells as damaged counts for the one that it doesn't meet.
   met.absent = met.absent || ( !met.refused && seen != rows );
   return met;
}

}  // namespace

Count tables( std::uint64_t count, Random & random ) {
   Count counted{ .kind = "row of a table in shared memory" };
   Slab::Layout::Geometry const geometry( sizeof( Key ), sizeof( Row ), rows );
   auto table = Slab::SharedTable::create( Slab::processSegmentName( "damage" ), sizeof( Key ),
                                           sizeof( Row ), rows );
   Memory const memory( table.name(), geometry.size );
   for ( Key key = 0; key != rows; ++key ) {
      table.put( bytes( key ), bytes( rowOf( key, 0 ) ) );
   }
   std::string const before( memory.at(), geometry.size );
   for ( Key key = 0; key != rows; ++key ) {
      table.put( bytes( key ), bytes( rowOf( key, 1 ) ) );
   }
   reinterpret_cast< Slab::Layout::Header * >( memory.at() )->writer = endedProcess();
   std::string const whole( memory.at(), geometry.size );
   auto const reader = Slab::SharedTable::open( table.name(), sizeof( Key ), sizeof( Row ) );
   std::string changed = whole;
   while ( counted.all != count ) {
      Key const key = below( random, rows );
      std::size_t const at = geometry.rows + key * geometry.stride;
      damage( changed, at, geometry.stride, before, random );
      if ( std::memcmp( &changed[at], &whole[at], geometry.stride ) == 0 ) {
         continue;
      }
      ++counted.all;
      std::memcpy( memory.at() + at, &changed[at], geometry.stride );
      Met const met = readAll( reader, key );
      ++( met.taken     ? counted.taken
          : met.refused ? counted.refused
          : met.absent  ? counted.absent
          : met.earlier ? counted.wellFormed
                        : counted.unchanged );
      changed.replace( at, geometry.stride, whole, at, geometry.stride );
      std::memcpy( memory.at() + at, &whole[at], geometry.stride );
   }
   return counted;
}

}  // namespace Damage
