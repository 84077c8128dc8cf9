/*
 * Shared-memory tables: what a checked read (sequence word and checksum) costs over an unchecked
 * one, and over a hash map of the process's own; and what a burst of changes costs.
 */
#include <benchmark/benchmark.h>

#include <array>
#include <cstdint>
#include <cstring>
#include <random>
#include <string>
#include <unordered_map>
#include <vector>

#include "Measure.h"
#include "platform/slab/SharedTable.h"

namespace {

constexpr std::uint64_t burstRows = 100'000;
constexpr std::size_t readsPerRound = 10'000;

using Row = std::array< std::byte, 100 >;

template < typename Value >
auto bytes( Value const & value ) {
   return std::as_bytes( std::span( &value, 1 ) );
}

Slab::SharedTable makeTable() {
   return Slab::SharedTable::create( Slab::processSegmentName( "bench" ), sizeof( std::uint64_t ),
                                     sizeof( Row ), 262'144 );
}

/** Keys as they come: no order, no two equal. */
std::uint64_t keyOf( std::uint64_t number ) {
   return number * 0x9e3779b97f4a7c15U;
}

Row rowOf( std::uint64_t number ) {
   Row row = {};
   std::memcpy( row.data(), &number, sizeof number );
   return row;
}

template < typename Read >
double secondsFor( std::vector< std::uint64_t > const & keys, Read read ) {
   return Bench::timed( [&] {
      for ( auto const key : keys ) {
         Row row;
         benchmark::DoNotOptimize( read( key, row ) );
         benchmark::DoNotOptimize( row );
      }
   } );
}

/** The three kinds take turns, each with keys of its own, so that noise hits them alike and none
 *  finds the rows in the cache that another has just read. */
void checkedRead( benchmark::State & state ) {
   auto table = makeTable();
   std::unordered_map< std::uint64_t, Row > map;
   auto const rowCount = static_cast< std::uint64_t >( state.range( 0 ) );
   for ( std::uint64_t i = 0; i < rowCount; ++i ) {
      table.put( bytes( keyOf( i ) ), rowOf( i ) );
      map.emplace( keyOf( i ), rowOf( i ) );
   }

   std::mt19937_64 random( 1 );
   std::vector< std::uint64_t > keys( readsPerRound );
   double checked = 0;
   double unchecked = 0;
   double plain = 0;
   auto const drawn = [&]() -> auto const & {
      for ( auto & key : keys ) {
         key = keyOf( random() % rowCount );
      }
      return keys;
   };
   for ( auto _ : state ) {
      plain += secondsFor( drawn(), [&]( auto key, Row & row ) {
         auto const found = map.find( key );
         row = found->second;
         return true;
      } );
      unchecked += secondsFor( drawn(), [&]( auto key, Row & row ) {
         return table.lookupUnchecked( bytes( key ), row );
      } );
      auto const seconds = secondsFor(
         drawn(), [&]( auto key, Row & row ) { return table.lookup( bytes( key ), row ); } );
      checked += seconds;
      state.SetIterationTime( seconds );
   }

   double const reads = static_cast< double >( state.iterations() ) * readsPerRound;
   state.SetItemsProcessed( state.iterations() * static_cast< std::int64_t >( readsPerRound ) );
   state.counters["ns_checked"] = checked / reads * 1e9;
   state.counters["ns_unchecked"] = unchecked / reads * 1e9;
   state.counters["ns_map"] = plain / reads * 1e9;
   state.counters["checked/unchecked"] = checked / unchecked;
   state.counters["checked/map"] = checked / plain;
}
// Rows that the caches hold show the instructions, 100,000 the memory.
BENCHMARK( checkedRead )->Arg( 1'000 )->Arg( 100'000 )->UseManualTime();

/** 100,000 rows come, change, stay the same, are walked, and go. */
void burst( benchmark::State & state ) {
   auto table = makeTable();
   for ( auto _ : state ) {
      for ( std::uint64_t round : { 0U, 1U, 1U } ) {
         for ( std::uint64_t i = 0; i < burstRows; ++i ) {
            table.put( bytes( keyOf( i ) ), rowOf( i + round ) );
         }
      }
      std::uint64_t key = 0;
      Row row;
      auto const keyOut = std::as_writable_bytes( std::span( &key, 1 ) );
      for ( auto cursor = table.begin(); cursor.next( keyOut, row ); ) {
         table.erase( bytes( key ) );
      }
   }
   state.SetItemsProcessed( state.iterations() * static_cast< std::int64_t >( 5 * burstRows ) );
}
BENCHMARK( burst )->Unit( benchmark::kMillisecond );

}  // namespace

int main( int argc, char ** argv ) {
   benchmark::Initialize( &argc, argv );
   if ( benchmark::ReportUnrecognizedArguments( argc, argv ) ) {
      return 1;
   }
   benchmark::AddCustomContext( "table",
                                "rows of 8 + 100 bytes in shared memory, capacity 262,144" );
   benchmark::AddCustomContext(
      "checkedRead",
      "10,000 reads by random keys of /N rows; ns_* per read: checked by sequence and checksum, "
      "unchecked, std::unordered_map (floor)" );
   benchmark::AddCustomContext(
      "burst",
      "100,000 rows: each inserted, changed, put unchanged, walked and erased at the cursor" );
   benchmark::RunSpecifiedBenchmarks();
}
