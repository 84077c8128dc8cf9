#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <malloc.h>

#include <map>
#include <vector>

#include "platform/corestore/ValueText.h"
#include "records/catalog/Catalog.h"
#include "records/mlag/HostTable.h"
#include "scenario/Scenario.h"

/* A switch whose state is kept by a store: what the store holds, and what a store does that fails.
 */

namespace {

using Corestore::Row;
using Scenarios::Switch;

/** Rows in memory, of which a reader sees whole steps; fails once, at the n-th operation. */
class FailingStore final : public Corestore::Store {
 public:
   void load( std::function< void( Row const & ) > const & row ) override { saved.load( row ); }
   void put( Row const & row ) override {
      operation();
      step_.push_back( { row, true } );
   }
   void del( std::string const & path ) override {
      operation();
      step_.push_back( { { path, {}, {} }, false } );
   }
   void flush() override {
      operation();
      for ( auto const & [row, stands] : step_ ) {
         stands ? saved.put( row ) : saved.del( row.path );
      }
      step_.clear();
   }

   Corestore::MemoryStore saved;
   std::uint64_t failAt = 0;
   std::uint64_t operations = 0;

 private:
   void operation() {
      if ( ++operations == failAt ) {
         step_.clear();
         throw Corestore::StoreError( "no room" );
      }
   }
   std::vector< std::pair< Row, bool > > step_;
};

/** The rows of each collection, in their order. */
std::map< std::string, std::vector< std::string > > rowsOf( Corestore::Store & store ) {
   std::map< std::string, std::vector< std::string > > rows;
   store.load( [&]( Row const & row ) {
      // The roots have no order.
      bool const root = Catalog::placeAt( row.path ) || row.path == "runner/clock";
      std::string const place =
         row.path.substr( 0, root ? row.path.size() : row.path.rfind( '/' ) );
      rows[place].push_back( row.path + " " + Corestore::jsonLine( row.value ) );
   } );
   return rows;
}

class StoredSwitchTest : public testing::Test {
 protected:
   static void SetUpTestSuite() { setenv( "FLASHLOG_DISABLE", "1", 1 ); }
   static Scenarios::Scenario scenario( char const * name ) {
      return Scenarios::readScenario( std::string( QORCLIENT_SCENARIOS "/" ) + name );
   }
   static void play( Switch & device, Scenarios::Scenario const & scenario, std::size_t & step ) {
      for ( ; step != scenario.steps.size(); ++step ) {
         if ( !std::holds_alternative< Scenarios::ExpectStep >( scenario.steps[step] ) ) {
            Scenarios::playStep( device, scenario, step );
         }
      }
   }
};

TEST_F( StoredSwitchTest, HoldsExactlyWhatStandsAfterEachStep ) {
   for ( char const * name : { "host-flows.json", "l3-groups.json", "corrupt-rows.json",
                               "mac-inputs.json", "documents-round.json" } ) {
      Scenarios::Scenario const played = scenario( name );
      FailingStore store;
      Switch device( { .store = &store } );
      for ( std::size_t step = 0; step != played.steps.size(); ++step ) {
         Scenarios::playStep( device, played, step );
         Corestore::MemoryStore whole;
         device.entityManager().saveTo( whole );
         ASSERT_EQ( rowsOf( store.saved ), rowsOf( whole ) ) << name << ", step " << step;
      }
   }
}

TEST_F( StoredSwitchTest, KeepsTheOrderOfWhatGoesAndComesBackInOneTurn ) {
   FailingStore store;
   Switch device( { .with = Switch::With::StateAlone, .store = &store } );
   auto const kept = [&] {
      std::vector< Row > rows;
      device.entityManager().forEachRow( [&]( Row const & row ) { rows.push_back( row ); } );
      return rows;
   };
   auto const restart = [&] {
      auto const before = kept();
      device.restart();
      EXPECT_EQ( kept(), before );
   };
   auto const patch = [&]( char const * text ) {
      device.patch( Corestore::parseJson( text ) );
      restart();
   };
   auto const tableOf = [&]( auto const & change ) {
      auto const table = Kel::ptrCast< Mlag::HostTable >(
         device.entityManager().entityIs( "mlag/hostTable", Mlag::HostTable::kelType().name ) );
      change( *table );
      device.advance( 0 );
      restart();
   };
   Mlag::HostEntryKey const a{ Bridging::VlanId( 1 ), {} };
   Mlag::HostEntryKey const b{ Bridging::VlanId( 2 ), {} };
   auto const set = [&]( Mlag::HostTable & table, Mlag::HostEntryKey const & key ) {
      Mlag::HostEntry entry;
      entry.key = key;
      table.hostEntryIs( entry );
   };
   tableOf( [&]( Mlag::HostTable & table ) { set( table, a ); } );
   tableOf( [&]( Mlag::HostTable & table ) {
      table.hostEntryDel( a );
      set( table, b );
      set( table, a );
   } );
   tableOf( [&]( Mlag::HostTable & table ) {
      table.hostEntryDel( b );
      set( table, b );
      table.hostEntryDel( b );
   } );
   // Entities below others, with odd names, made again with other content.
   patch( R"({"qorclient/status":{"policyFragmentInfo":{"a/b~":{"flowInfo":{"":{"nativeVlan":7}}},
      "a":{"flowInfo":{"b":{}}}}}})" );
   patch( R"({"qorclient/status":{"policyFragmentInfo":{"a":null}}})" );
   patch(
      R"({"qorclient/status":{"policyFragmentInfo":{"a/b~":null,"a":{"flowInfo":{"c":{}}}}}})" );
}

TEST_F( StoredSwitchTest, RefusesRowsThatDoNotFit ) {
   auto const refusal = []( char const * path, std::string const & value, int more = 0 ) {
      Corestore::MemoryStore store;
      store.put( { path, {}, Corestore::parseJson( value ) } );
      for ( int n = 0; n != more; ++n ) {
         std::string const text = std::to_string( 100'000 + n );
         store.put( { "bridging/l2Rib/qor/hostInput/host/02:00:00:" + text.substr( 0, 2 ) + ":" +
                         text.substr( 2, 2 ) + ":" + text.substr( 4 ) + "|1",
                      {},
                      Corestore::parseJson( value ) } );
      }
      try {
         Switch device( { .initial = &store } );
      } catch ( Kel::ValueError const & e ) {
         return e.pointer() + ": " + e.what();
      }
      return std::string( "none" );
   };
   EXPECT_EQ( refusal( "runner/clock", R"({"now":1e300})" ), "/runner/clock/now: tells no time" );
   EXPECT_EQ( refusal( "runner/clock", R"({"then":1})" ),
              "/runner/clock/then: unknown attribute then" );
   EXPECT_EQ( refusal( "mlag/config", R"({"@type":"Mlag::Status"})" ),
              "/mlag/config/@type: wants type Mlag::Config, not Mlag::Status" );
   EXPECT_EQ( refusal( "qorl3/version1/global/fragmentConfig/red", R"({"@type":"Mlag::Status"})" ),
              "/qorl3/version1/global/fragmentConfig/red/@type: "
              "wants type QorL3::V1::FragmentConfig, not Mlag::Status" );
   EXPECT_EQ( refusal( "mlag/none/now", "1" ), "/mlag/none/now: stands without its entity" );
   EXPECT_EQ( refusal( "qorclient/status/policyFragmentInfo/a~1b/flowInfo/c", "{}" ),
              "/qorclient/status/policyFragmentInfo/a~1b/flowInfo/c: stands without its entity" );
   EXPECT_EQ( refusal( "bridging/status/fdbStatus/7|02:00:00:00:00:01",
                       "{\"intf\":\"" + std::string( 64, 'x' ) + "\"}" ),
              "/bridging/status/fdbStatus/7|02:00:00:00:00:01: "
              "interface name longer than 63 bytes: " +
                 std::string( 64, 'x' ) );
   EXPECT_THAT( refusal( "bridging/l2Rib/qor/hostInput/host/02:00:00:00:00:01|1", "{}", 16384 ),
                testing::ContainsRegex( "^/bridging/l2Rib/qor/hostInput/host/"
                                        "02:00:00:11:63:83.1: finds the table full$" ) );
}

TEST_F( StoredSwitchTest, GoesOnFromTheLastStepThatWasSaved ) {
   Scenarios::Scenario const played = scenario( "service-flows.json" );
   FailingStore undisturbed;
   std::size_t step = 0;
   std::string end;
   {
      Switch device( { .store = &undisturbed } );
      play( device, played, step );
      end = Corestore::jsonSorted( device.dump() );
   }
   // Every 7th operation stands for all of them.
   for ( std::uint64_t at = 1; at <= undisturbed.operations; at += 7 ) {
      FailingStore store;
      store.failAt = at;
      step = 0;
      EXPECT_THROW(
         {
            Switch device( { .store = &store } );
            play( device, played, step );
         },
         Corestore::StoreError );
      Switch device( { .store = &store } );
      play( device, played, step );
      ASSERT_EQ( Corestore::jsonSorted( device.dump() ), end ) << "operation " << at;
   }
}

TEST_F( StoredSwitchTest, TenThousandRestartsTakeNoMemory ) {
#if defined( __has_feature )
#if __has_feature( address_sanitizer )
   GTEST_SKIP() << "the sanitizer counts in its own way, and finds leaks itself";
#endif
#endif
   Scenarios::Scenario const played = scenario( "host-flows.json" );
   Switch device;
   std::size_t step = 0;
   Scenarios::Scenario begin = played;
   begin.steps.resize( 8 );
   play( device, begin, step );
   auto const restartTimes = [&device]( int times ) {
      for ( int i = 0; i != times; ++i ) {
         device.restart();
      }
      return mallinfo2().uordblks;
   };
   std::size_t const before = restartTimes( 100 );
   std::size_t const after = restartTimes( 9'900 );
   EXPECT_LE( after, before + 10'000 );
}

}  // namespace
