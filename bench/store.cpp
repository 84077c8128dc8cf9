// What it costs to keep the state: cold convergence of 10,000 rules in memory alone, with every
// turn saved as rows in memory, and with every turn saved in a file; and a start on such a file.
//
// `vs_memory` is the time against memory alone, taken in the same run. What a file of rows costs by
// itself is the floor of the saving: the rows that convergence adds, collected beforehand, put bare
// into the same table by one statement in one transaction. What saving adds to convergence is given
// against that as `vs_bare_rows`.

#include <benchmark/benchmark.h>
#include <sqlite3.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "Measure.h"
#include "NearPolicy.h"
#include "platform/corestore/ValueText.h"
#include "qorclient/flowtable/PinFlowHwConfig.h"
#include "scenario/Switch.h"
#include "stores/sqlite/SqliteStore.h"

namespace {

using Bench::timed;

constexpr std::uint32_t fragments = 10;

/** A switch whose policy waits for the service to be enabled. */
class World {
 public:
   explicit World( Corestore::Store * store ) : device_( { .store = store } ) {
      Bench::writeNearPolicy( device_.entityManager(), fragments );
      // Saves what was written so far.
      device_.advance( 0 );
   }

   void converge() {
      device_.patch( Corestore::parseJson( R"({"mgmt/controller/status":{"enabled":true,
         "leaderServiceStatusDir":{"service":{"Qor":{"enabled":true}}}}})" ) );
      auto const table = device_.entity< OpenFlowTable::PinFlowHwConfig >( "pinflow/dyninput/qor" );
      if ( table->flowEntryCount() != 10'000 ) {
         std::abort();
      }
   }

 private:
   Scenarios::Switch device_;
};

/** A file that goes with this object. */
class StateFile {
 public:
   StateFile() {
      std::string pattern = std::filesystem::temp_directory_path() / "qorclient-bench-XXXXXX";
      directory_ = mkdtemp( pattern.data() );
   }
   ~StateFile() { std::filesystem::remove_all( directory_ ); }
   std::string name() const { return directory_ / "s.db"; }

 private:
   std::filesystem::path directory_;
};

/** A row as it stands in the file. */
struct BareRow {
   std::string path;
   std::string value;
};

std::vector< BareRow > rowsIn( Corestore::Store & store ) {
   std::vector< BareRow > rows;
   store.load( [&]( Corestore::Row const & row ) {
      rows.push_back( { row.path, Corestore::jsonLine( row.value ) } );
   } );
   return rows;
}

/** Puts the rows from the `standing`-th on into a file that has those before. */
double putBare( std::vector< BareRow > const & rows, std::size_t standing ) {
   StateFile const file;
   {
      Corestore::SqliteStore store( file.name() );
      for ( std::size_t i = 0; i != standing; ++i ) {
         store.put( { rows[i].path, {}, Corestore::parseJson( rows[i].value ) } );
      }
      store.flush();
   }
   sqlite3 * database = nullptr;
   sqlite3_stmt * insert = nullptr;
   auto const run = [&]( char const * sql ) {
      if ( sqlite3_exec( database, sql, nullptr, nullptr, nullptr ) != SQLITE_OK ) {
         std::abort();
      }
   };
   sqlite3_open_v2( file.name().c_str(), &database, SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX,
                    nullptr );
   run( "PRAGMA locking_mode = EXCLUSIVE" );
   run( "PRAGMA synchronous = NORMAL" );
   run( "PRAGMA cache_size = -65536" );
   run( "PRAGMA wal_autocheckpoint = 4096" );
   sqlite3_prepare_v2( database, "INSERT INTO entry VALUES ( ?, ?, ?, 0 )", -1, &insert, nullptr );
   double const seconds = timed( [&] {
      run( "BEGIN IMMEDIATE" );
      for ( std::size_t i = standing; i != rows.size(); ++i ) {
         int parameter = 0;
         for ( std::string const * text : { &rows[i].path, &rows[i].value } ) {
            sqlite3_bind_text64( insert, ++parameter, text->data(), text->size(), SQLITE_STATIC,
                                 SQLITE_UTF8 );
         }
         sqlite3_bind_int64( insert, ++parameter, static_cast< sqlite3_int64 >( i ) + 1 );
         if ( sqlite3_step( insert ) != SQLITE_DONE ) {
            std::abort();
         }
         sqlite3_reset( insert );
      }
      run( "COMMIT" );
   } );
   sqlite3_finalize( insert );
   sqlite3_close( database );
   return seconds;
}

double convergeWith( Corestore::Store * store ) {
   World world( store );
   return timed( [&] { world.converge(); } );
}

template < class Measure >
void against( benchmark::State & state, Measure const & measure ) {
   double memory = 0;
   double ours = 0;
   double bare = 0;
   for ( auto _ : state ) {
      double const alone = convergeWith( nullptr );
      double const seconds = measure( bare );
      memory += alone;
      ours += seconds;
      state.SetIterationTime( seconds );
   }
   state.counters["vs_memory"] = ours / memory;
   if ( bare > 0 ) {
      state.counters["vs_bare_rows"] = ( ours - memory ) / bare;
      state.counters["bare_rows_vs_memory"] = bare / memory;
   }
}

void rowsInMemory( benchmark::State & state ) {
   against( state, []( double & ) {
      Corestore::MemoryStore store;
      return convergeWith( &store );
   } );
}
BENCHMARK( rowsInMemory )->UseManualTime()->Unit( benchmark::kMillisecond );

void rowsInAFile( benchmark::State & state ) {
   double bytes = 0;
   double rowCount = 0;
   against( state, [&]( double & bare ) {
      StateFile const file;
      Corestore::SqliteStore store( file.name() );
      World world( &store );
      std::size_t const standing = rowsIn( store ).size();
      double const seconds = timed( [&] { world.converge(); } );
      auto const rows = rowsIn( store );
      bare += putBare( rows, standing );
      rowCount = static_cast< double >( rows.size() - standing );
      // What is new stands in the journal until it is moved into the file in large pieces.
      bytes = static_cast< double >( std::filesystem::file_size( file.name() ) +
                                     std::filesystem::file_size( file.name() + "-wal" ) );
      return seconds;
   } );
   state.counters["file_bytes"] = bytes;
   state.counters["rows"] = rowCount;
}
BENCHMARK( rowsInAFile )->UseManualTime()->Unit( benchmark::kMillisecond );

void startOnAFile( benchmark::State & state ) {
   StateFile file;
   {
      Corestore::SqliteStore store( file.name() );
      convergeWith( &store );
   }
   against( state, [&]( double & ) {
      return timed( [&] {
         Corestore::SqliteStore store( file.name() );
         Scenarios::Switch const device( { .store = &store } );
      } );
   } );
}
BENCHMARK( startOnAFile )->UseManualTime()->Unit( benchmark::kMillisecond );

}  // namespace

int main( int argc, char ** argv ) {
   Bench::runBenchmarks( argc, argv );
}
