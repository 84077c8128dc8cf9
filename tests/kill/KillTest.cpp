#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <random>

#include "kill/KilledRun.h"
#include "platform/corestore/ValueText.h"
#include "scenarios/Documents.h"

/*
 * Every scenario is played in processes that are killed with SIGKILL: at operations of the store
 * and at instants of the clock. Whatever was half done, the end is that of the run that nobody
 * disturbed, and no agent withdraws a rule in a step in which that run has it all the time.
 *
 * QORCLIENT_KILLS=N kills N times in each scenario, and QORCLIENT_KILL_SEED=N chooses other
 * instants.
 */

namespace {

namespace fs = std::filesystem;

std::uint64_t numberOf( char const * variable, std::uint64_t otherwise ) {
   char const * const text = std::getenv( variable );
   return text ? std::strtoull( text, nullptr, 10 ) : otherwise;
}

/** The object at a path; null when there is none. */
Kel::Value::Object * objectAt( Kel::Value & root, std::vector< std::string > const & path ) {
   auto * object = root.as< Kel::Value::Object >();
   for ( std::size_t i = 0; object && i != path.size(); ++i ) {
      auto const found =
         std::ranges::find( *object, path[i], &Kel::Value::Object::value_type::first );
      object = found == object->end() ? nullptr : found->second.as< Kel::Value::Object >();
   }
   return object;
}

/** Takes out of an object what the other state doesn't have there; of no object, nothing. */
void keepCommon( Kel::Value & state, Kel::Value & other, std::vector< std::string > const & path ) {
   auto * const object = objectAt( state, path );
   auto * const wanted = objectAt( other, path );
   if ( !object ) {
      return;
   }
   std::erase_if( *object, [wanted]( auto const & member ) {
      return !wanted ||
             std::ranges::find( *wanted, member.first, &Kel::Value::Object::value_type::first ) ==
                wanted->end();
   } );
}

/**
 * The state, without what a death may leave behind by design: a start follows the hosts and binds
 * their VNIs before it allows VLANs, so an interface that loses its bindings then keeps its list
 * and its place in the trunk group, of which only the loss of a binding takes it.
 */
Kel::Value comparable( Kel::Value value, Kel::Value other ) {
   std::string const vlans = "bridging/input/dynvlan/allowedvlan/qor";
   keepCommon( value, other, { vlans, "vlans" } );
   keepCommon( value, other, { vlans, "trunkGroup", "qor", "intfList" } );
   // Empty collections are left out of a document.
   for ( auto const & holder : { std::vector{ vlans }, { vlans, "trunkGroup", "qor" } } ) {
      if ( auto * const object = objectAt( value, holder ) ) {
         std::erase_if( *object, []( auto const & member ) {
            auto const * const collection = member.second.template as< Kel::Value::Object >();
            return collection && collection->empty() && member.first != "qor";
         } );
      }
   }
   return value;
}

/** Whether a flow entry stands from before a step to behind it. */
bool standsThroughout( std::uint64_t step, std::string const & entry,
                       std::vector< Kill::FlowChange > const & changes ) {
   bool stands = false;
   for ( Kill::FlowChange const & change : changes ) {
      if ( change.entry == entry && change.step <= step ) {
         stands = change.step == step ? stands && !change.deleted : !change.deleted;
      }
   }
   return stands;
}

class KillTest : public testing::TestWithParam< fs::path > {
 protected:
   static void SetUpTestSuite() { setenv( "FLASHLOG_DISABLE", "1", 1 ); }
   KillTest() {
      std::string pattern = testing::TempDir() + "qorclient-kill-XXXXXX";
      directory = mkdtemp( pattern.data() );
   }
   ~KillTest() override { fs::remove_all( directory ); }

   fs::path directory;
};

TEST_P( KillTest, EndsAsIfNobodyHadKilledIt ) {
   Scenarios::Scenario const scenario = Scenarios::readScenario( GetParam() );
   if ( scenario.expectDeath ) {
      GTEST_SKIP() << "the process ends";
   }
   Kill::KilledRun run( scenario, directory );
   run.begin();
   auto const started = std::chrono::steady_clock::now();
   ASSERT_EQ( run.processUntil( 0 ), Kill::Ended::Finished ) << run.failure();
   auto const lasted = std::chrono::duration_cast< std::chrono::microseconds >(
      std::chrono::steady_clock::now() - started );
   Kel::Value const end = Corestore::parseJson( run.finalState() );
   Kel::Value const undisturbed = comparable( end, end );
   std::uint64_t const operations = run.operations();

   std::vector< Kill::FlowChange > const undisturbedChanges = run.flowChanges();

   std::uint64_t const wanted = numberOf( "QORCLIENT_KILLS", 25 );
   std::uint64_t const seed = numberOf( "QORCLIENT_KILL_SEED", 1 );
   std::mt19937_64 random( seed );
   std::uint64_t kills = 0;
   // In some scenarios a kill seldom meets a step that can bear it.
   for ( std::uint64_t attempts = 0; kills < wanted && attempts < 32 * wanted; ) {
      run.begin();
      std::string instants = "\nseed " + std::to_string( seed ) + ", killed at";
      Kill::Ended ended = Kill::Ended::Killed;
      while ( ended == Kill::Ended::Killed ) {
         ++attempts;
         if ( random() % 2 ) {
            std::uint64_t const instant = 1 + random() % operations;
            instants += " operation " + std::to_string( instant );
            ended = run.processUntil( instant );
         } else {
            auto const instant =
               static_cast< std::uint32_t >( random() % ( 1 + std::uint64_t( lasted.count() ) ) );
            instants += " " + std::to_string( instant ) + " us";
            ended = run.processFor( instant );
         }
         instants += " in step " + std::to_string( run.step() ) + ",";
         kills += ended == Kill::Ended::Killed;
      }
      ASSERT_EQ( ended, Kill::Ended::Finished ) << run.failure() << instants;
      ASSERT_EQ( Scenarios::differences(
                    undisturbed, comparable( Corestore::parseJson( run.finalState() ), end ) ),
                 "" )
         << instants;
      for ( Kill::FlowChange const & change : run.flowChanges() ) {
         ASSERT_FALSE( change.deleted &&
                       standsThroughout( change.step, change.entry, undisturbedChanges ) )
            << change.entry << " is withdrawn in step " << change.step << instants;
      }
   }
   RecordProperty( "kills", std::to_string( kills ) );
   EXPECT_GE( kills, wanted );
}

INSTANTIATE_TEST_SUITE_P( Documents, KillTest, testing::ValuesIn( Scenarios::documents() ),
                          Scenarios::testName );

}  // namespace
