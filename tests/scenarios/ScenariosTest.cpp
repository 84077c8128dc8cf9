#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>

#include "platform/corestore/ValueText.h"
#include "platform/kel/Assert.h"
#include "runner/Journal.h"
#include "runner/Scenario.h"

/*
 * Every document beside this file is a test: played as it stands, and once more with a restart of
 * the agent after each step that can bear one, which must not change the outcome.
 */

namespace {

using Runner::Scenario;
using Runner::Switch;

void expectStep( Switch & device, Scenario const & scenario, std::size_t step ) {
   for ( Runner::Unmet const & unmet : Runner::playStep( device, scenario, step ) ) {
      ADD_FAILURE() << describe( scenario, unmet );
   }
}

/** The agent has settled: what it finds in the flow tables is what it wants there. */
void restartSettled( Switch & device, std::size_t step ) {
   device.outputObserverIs( [&]( Runner::OutputChange const & change ) {
      if ( change.path.starts_with( "pinflow/dyninput/" ) ) {
         ADD_FAILURE() << "a restart after this step writes into a flow table: "
                       << journalLine( static_cast< std::int64_t >( step ), change );
      }
   } );
   device.restart();
   device.outputObserverIs( {} );
}

/** What differs between two states, a line each, since the states themselves fill many screens. */
void listDifferences( Kel::Value const & plain, Kel::Value const & restarted,
                      std::string const & pointer, std::string & list ) {
   auto const * a = plain.as< Kel::Value::Object >();
   auto const * b = restarted.as< Kel::Value::Object >();
   if ( !a || !b ) {
      if ( plain != restarted ) {
         list += pointer + ": " + Corestore::jsonLine( plain ) + ", with restarts " +
                 Corestore::jsonLine( restarted ) + "\n";
      }
      return;
   }
   auto memberOf = []( Kel::Value const & object, std::string const & name ) {
      Kel::Value const * member = object.member( name );
      return member ? *member : Kel::Value();
   };
   for ( auto const & member : *a ) {
      listDifferences( member.second, memberOf( restarted, member.first ),
                       pointer + Kel::pointerStep( member.first ), list );
   }
   for ( auto const & member : *b ) {
      if ( !plain.member( member.first ) ) {
         listDifferences( {}, member.second, pointer + Kel::pointerStep( member.first ), list );
      }
   }
}

/** The state at the end. Stops after a step that failed, since what follows builds on it. */
Kel::Value play( Scenario const & scenario, bool withRestarts ) {
   Switch device( { .simulated = scenario.simulated } );
   for ( std::size_t step = 0; step != scenario.steps.size(); ++step ) {
      expectStep( device, scenario, step );
      bool const changesNothing =
         std::holds_alternative< Runner::ExpectStep >( scenario.steps[step] );
      if ( withRestarts && !changesNothing && !scenario.noRestartAfter.contains( step ) ) {
         restartSettled( device, step );
      }
      if ( testing::Test::HasFailure() ) {
         break;
      }
   }
   return device.dump();
}

class ScenariosTest : public testing::TestWithParam< std::filesystem::path > {
 protected:
   static void SetUpTestSuite() {
      setenv( "FLASHLOG_DISABLE", "1", 1 );
      Kel::installTerminateHandler();
   }
};

TEST_P( ScenariosTest, Plays ) {
   Scenario const scenario = Runner::readScenario( GetParam() );
   if ( scenario.expectDeath ) {
      // No exception may reach the test: as in the program, it ends the process.
      auto const toItsEnd = [&]() noexcept { play( scenario, false ); };
      EXPECT_DEATH( toItsEnd(), *scenario.expectDeath );
   } else {
      play( scenario, false );
   }
}

TEST_P( ScenariosTest, OutlivesRestarts ) {
   Scenario const scenario = Runner::readScenario( GetParam() );
   if ( scenario.expectDeath ) {
      GTEST_SKIP() << "the process ends";
   }
   Kel::Value const plain = play( scenario, false );
   Kel::Value const restarted = play( scenario, true );
   if ( !HasFailure() ) {
      std::string differences;
      listDifferences( plain, restarted, "", differences );
      EXPECT_EQ( differences, "" );
   }
}

std::vector< std::filesystem::path > scenarios() {
   std::vector< std::filesystem::path > files;
   for ( auto const & entry : std::filesystem::directory_iterator( QORCLIENT_SCENARIOS ) ) {
      if ( entry.path().extension() == ".json" ) {
         files.push_back( entry.path() );
      }
   }
   std::ranges::sort( files );
   return files;
}

std::string testName( testing::TestParamInfo< std::filesystem::path > const & file ) {
   std::string name = file.param.stem();
   std::ranges::replace_if(
      name, []( unsigned char c ) { return !std::isalnum( c ); }, '_' );
   return name;
}

INSTANTIATE_TEST_SUITE_P( Documents, ScenariosTest, testing::ValuesIn( scenarios() ), testName );

}  // namespace
