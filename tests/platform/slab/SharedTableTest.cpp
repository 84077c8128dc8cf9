#include "platform/slab/SharedTable.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstring>
#include <functional>
#include <random>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include "platform/kel/Exceptions.h"
#include "platform/slab/Words.h"

namespace {

using Slab::Corruption;
using Slab::PutResult;
using Slab::SharedTable;

using Row = std::array< std::uint32_t, 5 >;
using Rows = std::vector< std::pair< std::uint32_t, Row > >;

Row rowOf( std::uint32_t value ) {
   return { value, value, value, value, value };
}

template < typename Value >
auto bytes( Value const & value ) {
   return std::as_bytes( std::span( &value, 1 ) );
}

template < typename Value >
auto out( Value & value ) {
   return std::as_writable_bytes( std::span( &value, 1 ) );
}

SharedTable make( std::string const & name, std::size_t capacity ) {
   return SharedTable::create( name, sizeof( std::uint32_t ), sizeof( Row ), capacity );
}

SharedTable reader( std::string const & name ) {
   return SharedTable::open( name, sizeof( std::uint32_t ), sizeof( Row ) );
}

PutResult put( SharedTable & table, std::uint32_t key, std::uint32_t value ) {
   return table.put( bytes( key ), bytes( rowOf( value ) ) );
}

bool erase( SharedTable & table, std::uint32_t key ) {
   return table.erase( bytes( key ) );
}

/** First word of the row; -1 if there is none. */
long get( SharedTable const & table, std::uint32_t key ) {
   Row row;
   return table.lookup( bytes( key ), out( row ) ) ? long( row[0] ) : -1;
}

/** Keys in order; a row that can't be read shows as 0. */
std::vector< std::uint32_t > walk( SharedTable const & table ) {
   std::vector< std::uint32_t > keys;
   auto cursor = table.begin();
   for ( ;; ) {
      std::uint32_t key = 0;
      try {
         if ( !cursor.next( out( key ), {} ) )
            return keys;
      } catch ( Corruption const & ) {
         key = 0;
      }
      keys.push_back( key );
   }
}

std::string failure( std::function< void() > const & operation ) {
   try {
      operation();
   } catch ( std::exception const & exception ) {
      return exception.what();
   }
   return "";
}

/** Hand on the raw memory, as a wild write or a death in the middle of a write would leave it. */
class Raw {
 public:
   Raw( std::string const & name, std::uint32_t capacity )
      : geometry_( sizeof( std::uint32_t ), sizeof( Row ), capacity ) {
      int const fd = ::shm_open( name.c_str(), O_RDWR, 0 );
      data_ = static_cast< std::byte * >(
         ::mmap( nullptr, geometry_.size, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0 ) );
      ::close( fd );
   }
   ~Raw() { ::munmap( data_, geometry_.size ); }

   auto & header() { return *reinterpret_cast< Slab::Layout::Header * >( data_ ); }
   auto & row( std::size_t slot ) {
      return *reinterpret_cast< Slab::Layout::RowHeader * >( data_ + geometry_.rows +
                                                             slot * geometry_.stride );
   }
   auto & keyByte( std::size_t slot ) {
      return *reinterpret_cast< std::byte * >( &row( slot ) + 1 );
   }
   auto indexEntries() const {
      auto const * index = reinterpret_cast< std::uint64_t const * >( data_ + geometry_.index );
      return geometry_.buckets - std::size_t( std::count( index, index + geometry_.buckets, 0U ) );
   }
   std::vector< std::byte > all() const { return { data_, data_ + geometry_.size }; }

 private:
   Slab::Layout::Geometry geometry_;
   std::byte * data_;
};

pid_t inChild( std::function< int() > const & body ) {
   pid_t const child = ::fork();
   if ( child == 0 ) {
      int status = 99;
      try {
         status = body();
      } catch ( ... ) {
      }
      ::_exit( status );
   }
   return child;
}

/** Exit status, or minus the signal. */
int wait( pid_t child ) {
   int status = 0;
   ::waitpid( child, &status, 0 );
   return WIFEXITED( status ) ? WEXITSTATUS( status ) : -WTERMSIG( status );
}

class SharedTableTest : public testing::Test {
 protected:
   ~SharedTableTest() override { ::shm_unlink( name.c_str() ); }

   std::string const name = Slab::processSegmentName( "test/table" );
};

TEST_F( SharedTableTest, PutSaysWhatItDidAndWritesNothingInVain ) {
   auto table = make( name, 3 );
   auto const view = reader( name );
   EXPECT_EQ( put( table, 1, 10 ), PutResult::Inserted );
   EXPECT_EQ( put( table, 2, 20 ), PutResult::Inserted );
   EXPECT_EQ( put( table, 1, 11 ), PutResult::Changed );
   EXPECT_EQ( put( table, 3, 30 ), PutResult::Inserted );

   Raw raw( name, 3 );
   auto const before = raw.all();
   EXPECT_EQ( put( table, 1, 11 ), PutResult::Unchanged );
   EXPECT_THROW( put( table, 4, 40 ), Kel::RangeException );
   EXPECT_FALSE( erase( table, 4 ) );
   EXPECT_EQ( raw.all(), before );
   EXPECT_EQ( failure( [&] { put( table, 4, 40 ); } ),
              "Slab table " + name + " is full: it holds 3 rows" );

   EXPECT_EQ( put( table, 3, 31 ), PutResult::Changed ) << "a full table still takes overwrites";
   EXPECT_TRUE( erase( table, 2 ) );
   EXPECT_EQ( put( table, 4, 40 ), PutResult::Inserted );
   EXPECT_EQ( walk( view ), ( std::vector< std::uint32_t >{ 1, 3, 4 } ) );
   EXPECT_EQ( get( view, 1 ), 11 );
   EXPECT_EQ( get( view, 2 ), -1 );
   EXPECT_EQ( view.size(), 3U );
   Row row;
   std::uint32_t const key = 4;
   EXPECT_TRUE( view.lookupUnchecked( bytes( key ), out( row ) ) );
   EXPECT_EQ( row, rowOf( 40 ) );

   table.clear();
   EXPECT_EQ( view.size(), 0U );
   EXPECT_EQ( get( view, 1 ), -1 );
   EXPECT_EQ( put( table, 2, 21 ), PutResult::Inserted );
   EXPECT_EQ( walk( view ), std::vector< std::uint32_t >{ 2 } );
}

TEST_F( SharedTableTest, WrongUseIsRefused ) {
   EXPECT_THROW( reader( name ), std::system_error );
   EXPECT_THROW( make( name, 0 ), Kel::RangeException );
   EXPECT_THROW( SharedTable::create( name, 0, 8, 8 ), Kel::RangeException );
   {
      auto table = make( name, 8 );
      EXPECT_THROW( make( name, 8 ), std::system_error );
      EXPECT_THROW( SharedTable::open( name, 8, sizeof( Row ) ), Corruption );
      EXPECT_THROW( SharedTable::open( name, 4, 24 ), Corruption );
      EXPECT_THROW( table.put( bytes( 1 ), bytes( 2 ) ), std::invalid_argument );
      auto view = reader( name );
      EXPECT_THROW( put( view, 1, 1 ), std::logic_error );
      EXPECT_THROW( view.clear(), std::logic_error );

      Raw raw( name, 8 );
      raw.header().capacity = 100;
      EXPECT_THROW( reader( name ), Corruption ) << "longer than the segment";
      raw.header().magic = 0;
      EXPECT_EQ( failure( [&] { reader( name ); } ),
                 "Slab table " + name + ": the segment holds no complete table" );
      // A child that ends by the book does not take the parent's table with it.
      EXPECT_EQ( wait( inChild( [&] {
                    table.~SharedTable();
                    return 0;
                 } ) ),
                 0 );
      EXPECT_THROW( reader( name ), Corruption );
   }
   EXPECT_THROW( reader( name ), std::system_error ) << "the writer unlinks";
}

TEST_F( SharedTableTest, DamageIsReportedByEachReadAndHealedByPut ) {
   auto table = make( name, 8 );
   for ( std::uint32_t key = 1; key <= 3; ++key )
      put( table, key, key * 10 );
   auto const view = reader( name );
   Raw raw( name, 8 );
   std::uint32_t const two = 2;
   std::uint32_t const four = 4;

   EXPECT_FALSE( table.corruptChecksum( bytes( four ) ) );
   EXPECT_TRUE( table.corruptChecksum( bytes( two ) ) );
   EXPECT_TRUE( table.corruptChecksum( bytes( two ) ) ) << "twice is no repair";
   for ( int i = 0; i < 2; ++i )
      EXPECT_EQ( failure( [&] { get( view, 2 ); } ),
                 "Slab table " + name + ": row 1 does not match its checksum" );
   EXPECT_EQ( walk( view ), ( std::vector< std::uint32_t >{ 1, 0, 3 } ) );
   EXPECT_EQ( get( view, 1 ), 10 );
   EXPECT_EQ( put( table, 2, 20 ), PutResult::Changed ) << "equal bytes, but unreadable before";
   EXPECT_EQ( get( view, 2 ), 20 );

   // Whatever part is hit: the read of that key tells, put heals in place, erase removes.
   std::vector< std::function< void() > > const hits = {
      [&] { raw.keyByte( 1 ) ^= std::byte( 4 ); },
      [&] { *( &raw.keyByte( 1 ) + 8 + 19 ) ^= std::byte( 128 ); },
      [&] { raw.row( 1 ).state = 77; }, [&] { raw.row( 1 ).checksum = 0; } };
   for ( auto const & hit : hits ) {
      hit();
      EXPECT_THROW( get( view, 2 ), Corruption );
      EXPECT_EQ( put( table, 2, 20 ), PutResult::Changed );
      EXPECT_EQ( get( view, 2 ), 20 );
      EXPECT_EQ( walk( view ), ( std::vector< std::uint32_t >{ 1, 2, 3 } ) );
   }

   // Moving rows about does not make a damaged one sound.
   hits[0]();
   for ( std::uint32_t key = 100; key < 300; ++key ) {
      put( table, key, key );
      erase( table, key );
   }
   EXPECT_THROW( get( view, 2 ), Corruption );
   EXPECT_EQ( walk( view ), ( std::vector< std::uint32_t >{ 1, 0, 3 } ) );
   EXPECT_TRUE( erase( table, 2 ) );
   EXPECT_EQ( get( view, 2 ), -1 );
   EXPECT_EQ( walk( view ), ( std::vector< std::uint32_t >{ 1, 3 } ) );
   EXPECT_EQ( view.size(), 2U );
}

TEST_F( SharedTableTest, AWriterThatDiesInTheMiddleIsReportedNotAwaited ) {
   auto const dieWith = [this]( auto const & last ) {
      ::shm_unlink( name.c_str() );
      EXPECT_EQ( wait( inChild( [&] {
                    auto table = make( name, 8 );
                    for ( std::uint32_t key = 1; key <= 3; ++key )
                       put( table, key, key );
                    Raw raw( name, 8 );
                    last( raw );
                    return ::kill( ::getpid(), SIGKILL );
                 } ) ),
                 -SIGKILL );
   };
   auto const start = std::chrono::steady_clock::now();

   dieWith( []( Raw & raw ) { ++raw.row( 1 ).sequence; } );
   auto const halfRow = reader( name );
   EXPECT_EQ( failure( [&] { get( halfRow, 2 ); } ),
              "Slab table " + name + ": row 1 is half written, and the writer has died" );
   EXPECT_EQ( get( halfRow, 3 ), 3 );
   EXPECT_EQ( walk( halfRow ), ( std::vector< std::uint32_t >{ 1, 0, 3 } ) );

   dieWith( []( Raw & raw ) { ++raw.header().arrangement; } );
   auto const halfTable = reader( name );
   EXPECT_EQ( failure( [&] { get( halfTable, 1 ); } ),
              "Slab table " + name + ": rows are being moved, and the writer has died" );
   EXPECT_EQ( walk( halfTable ), std::vector< std::uint32_t >{ 0 } ) << "one report, then the end";

   EXPECT_LT( std::chrono::steady_clock::now() - start, std::chrono::seconds( 3 ) );

   // A writer that lives but stands still is waited for, though not forever.
   ::shm_unlink( name.c_str() );
   auto table = make( name, 8 );
   put( table, 1, 1 );
   Raw raw( name, 8 );
   ++raw.row( 0 ).sequence;
   EXPECT_THROW( get( table, 1 ), Corruption );
   EXPECT_EQ( put( table, 1, 1 ), PutResult::Changed );
   EXPECT_EQ( get( table, 1 ), 1 );
}

constexpr std::uint32_t stop = 0xffffffff;
constexpr std::uint32_t fixedKey = 1000;

/** Reads until the row `stop` comes; 0 when every row was whole and in its order. */
int readUntilStop( SharedTable const & view ) {
   for ( long seen = 0;; ) {
      std::uint32_t previous = 0;
      unsigned met = 0;
      std::uint32_t key = 0;
      Row row;
      for ( auto cursor = view.begin(); cursor.next( out( key ), out( row ) ); ) {
         if ( row != rowOf( row[0] ) )
            return 1;  // a mixture
         met += key == fixedKey;
         // Apart from the fixed row, later keys are larger: the writer counts up.
         if ( key != fixedKey && std::exchange( previous, key ) >= key )
            return 2;
      }
      if ( met != 1 )
         return 3;
      long const now = get( view, fixedKey );
      if ( now < seen )
         return 4;
      seen = now;
      if ( get( view, stop ) == 1 )
         return get( view, fixedKey ) > 0 ? 0 : 5;
   }
}

void writeUntilStop( SharedTable & table ) {
   auto const until = std::chrono::steady_clock::now() + std::chrono::milliseconds( 400 );
   for ( std::uint32_t i = 2000; std::chrono::steady_clock::now() < until; ++i ) {
      put( table, fixedKey, i );
      put( table, i, i );
      if ( i >= 2020 )
         erase( table, i - 20 );
   }
   put( table, stop, 1 );
}

TEST_F( SharedTableTest, ReadersInAnotherProcessSeeWholeRowsInOrderWhileTheWriterWorks ) {
   auto table = make( name, 64 );
   put( table, fixedKey, 0 );  // stands throughout
   pid_t const child = inChild( [this] {
      ::alarm( 30 );  // no orphan, should the parent fail first
      return readUntilStop( reader( name ) );
   } );
   writeUntilStop( table );
   EXPECT_EQ( wait( child ), 0 );
}

// On one mapping, so that a thread sanitizer sees where writer and readers meet.
TEST_F( SharedTableTest, ReadersInThreadsSeeTheSame ) {
   auto table = make( name, 64 );
   put( table, fixedKey, 0 );
   std::array< int, 3 > results{ -1, -1, -1 };
   {
      std::vector< std::jthread > readers;
      for ( int & result : results ) {
         readers.emplace_back( [&table, &result] {
            try {
               result = readUntilStop( table );
            } catch ( Corruption const & ) {
               result = 6;
            }
         } );
      }
      writeUntilStop( table );
   }
   EXPECT_EQ( results, ( std::array< int, 3 >{} ) );
}

// Against a plain list, with cursors under way, so that every pairing of step and change comes up.
TEST_F( SharedTableTest, OrderAndCursorsHoldThroughEveryKindOfChange ) {
   constexpr std::uint32_t capacity = 20;
   auto table = make( name, capacity );
   auto const view = reader( name );
   Raw raw( name, capacity );
   Rows model;
   std::minstd_rand engine( 7 );
   auto const random = [&] { return static_cast< unsigned >( engine() ); };

   struct Walk {
      SharedTable::Cursor cursor;
      std::vector< std::uint32_t > due;  // stood from the start of the walk until now
      std::vector< std::uint32_t > met;
   };
   std::vector< Walk > walks;
   auto const gone = [&]( std::uint32_t key ) {
      for ( auto & each : walks ) {
         std::erase( each.due, key );
         std::erase( each.met, key );
      }
   };

   unsigned ended = 0;
   for ( std::uint32_t step = 0; step < 60'000; ++step ) {
      std::uint32_t const key = 1 + random() % 30;
      auto const at = std::find_if( model.begin(), model.end(),
                                    [&]( auto const & row ) { return row.first == key; } );
      unsigned const choice = random() % 1000;
      if ( choice == 0 ) {
         table.clear();
         model.clear();
         for ( auto & each : walks )
            each = { each.cursor, {}, {} };
      } else if ( choice < 350 ) {
         if ( at != model.end() ) {
            EXPECT_EQ( put( table, key, step ), PutResult::Changed );
            at->second = rowOf( step );
         } else if ( model.size() == capacity ) {
            EXPECT_THROW( put( table, key, step ), Kel::RangeException );
         } else {
            EXPECT_EQ( put( table, key, step ), PutResult::Inserted );
            model.emplace_back( key, rowOf( step ) );
         }
      } else if ( choice < 600 ) {
         EXPECT_EQ( erase( table, key ), at != model.end() );
         if ( at != model.end() ) {
            model.erase( at );
            gone( key );
         }
      } else if ( walks.size() < 3 ) {
         Walk fresh{ ( step % 2 ? view : table ).begin(), {}, {} };
         for ( auto const & row : model )
            fresh.due.push_back( row.first );
         walks.push_back( std::move( fresh ) );
      } else {
         auto & each = walks[random() % walks.size()];
         std::uint32_t now = 0;
         if ( each.cursor.next( out( now ), {} ) ) {
            EXPECT_EQ( std::count( each.met.begin(), each.met.end(), now ), 0 ) << "met twice";
            each.met.push_back( now );
            if ( random() % 4 == 0 ) {
               erase( table, now );
               std::erase_if( model, [&]( auto const & row ) { return row.first == now; } );
               gone( now );
            }
         } else {
            std::erase_if( each.met, [&]( auto met ) {
               return std::find( each.due.begin(), each.due.end(), met ) == each.due.end();
            } );
            EXPECT_EQ( each.met, each.due );
            walks.erase( walks.begin() + ( &each - walks.data() ) );
            ++ended;
         }
      }
      ASSERT_EQ( view.size(), model.size() );
      ASSERT_EQ( raw.indexEntries(), raw.header().end ) << "a row, an entry; none is left behind";
      if ( step % 16 == 0 ) {
         Rows found;
         std::uint32_t now = 0;
         Row row;
         for ( auto cursor = view.begin(); cursor.next( out( now ), out( row ) ); )
            found.emplace_back( now, row );
         ASSERT_EQ( found, model );
         for ( std::uint32_t any = 1; any <= 30; ++any ) {
            auto const known = std::find_if(
               model.begin(), model.end(), [&]( auto const & each ) { return each.first == any; } );
            ASSERT_EQ( get( view, any ), known == model.end() ? -1 : long( known->second[0] ) );
         }
      }
   }
   EXPECT_GT( ended, 100U );
}

TEST_F( SharedTableTest, ALargeTableCostsOnlyWhatIsUsed ) {
   constexpr std::uint32_t count = 100'000;
   auto const megabytes = [this] {
      struct stat status = {};
      EXPECT_EQ( ::stat( ( "/dev/shm" + name ).c_str(), &status ), 0 );
      return status.st_blocks / 2048;
   };
   std::array< std::byte, 100 > row = {};
   auto table = SharedTable::create( name, sizeof( std::uint32_t ), row.size(), 262'144 );
   EXPECT_LT( megabytes(), 1 );
   for ( std::uint32_t i = 0; i < count; ++i ) {  // a few rows that come and go
      table.put( bytes( i ), row );
      erase( table, i - 10 );
   }
   EXPECT_LT( megabytes(), 1 );
   table.clear();

   auto const numbered = [&]( std::uint32_t i ) {
      std::memcpy( row.data() + 90, &i, sizeof i );
      return Slab::Bytes( row );
   };
   for ( std::uint32_t i = 0; i < count; ++i )
      ASSERT_EQ( table.put( bytes( i ), numbered( i ) ), PutResult::Inserted );
   EXPECT_EQ( table.size(), count );
   EXPECT_LT( megabytes(), 24 );

   std::uint32_t key = 0;
   std::uint32_t expected = 0;
   std::array< std::byte, 100 > found;
   for ( auto cursor = table.begin(); cursor.next( out( key ), found ); ++expected ) {
      ASSERT_EQ( key, expected );
      numbered( key );
      ASSERT_EQ( found, row );
      ASSERT_TRUE( table.erase( bytes( key ) ) );
   }
   EXPECT_EQ( expected, count );
   EXPECT_EQ( table.size(), 0U );
}

TEST( SegmentNames, OnlySegmentsOfDeadProcessesAreSweptUp ) {
   auto const exists = []( std::string const & name ) {
      int const fd = ::shm_open( name.c_str(), O_RDONLY, 0 );
      ::close( fd );
      return fd >= 0;
   };
   auto const own = Slab::processSegmentName( "bridging/l2Rib/qor/hostInput" );
   EXPECT_TRUE( own.starts_with( "/qorclient-" + std::to_string( ::getpid() ) + "-" ) ) << own;
   EXPECT_TRUE( own.ends_with( "-bridging.l2Rib.qor.hostInput" ) ) << own;
   auto const table = make( own, 8 );

   pid_t const child = inChild( [] {
      static auto const left = make( Slab::processSegmentName( "left" ), 8 );
      return ::kill( ::getpid(), SIGKILL );
   } );
   EXPECT_EQ( wait( child ), -SIGKILL );
   std::string const dead = "/qorclient-" + std::to_string( child ) + "-";
   auto const foreign = make( dead + "x-left", 8 );  // not a name of ours

   // Another process that starts meanwhile may do it first.
   Slab::removeAbandonedSegments();
   EXPECT_TRUE( exists( own ) );
   EXPECT_TRUE( exists( foreign.name() ) );
   for ( unsigned i = 0; i < 100; ++i )
      EXPECT_FALSE( exists( dead + std::to_string( i ) + "-left" ) );
}

TEST_F( SharedTableTest, TwoChangedBitsDoNotUndoEachOther ) {
   std::array< std::uint64_t, 3 > const words{ 1, 0x0123456789abcdef, 7 };
   auto const whole = Slab::Words::digestOf( { bytes( words ) } );
   for ( unsigned one = 0; one != 192; ++one ) {
      for ( unsigned other = one + 1; other != 192; ++other ) {
         auto changed = words;
         changed[one / 64] ^= std::uint64_t{ 1 } << one % 64;
         changed[other / 64] ^= std::uint64_t{ 1 } << other % 64;
         ASSERT_NE( Slab::Words::digestOf( { bytes( changed ) } ), whole ) << one << " " << other;
      }
   }
}

}  // namespace
