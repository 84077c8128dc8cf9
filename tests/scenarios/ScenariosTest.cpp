#include <gtest/gtest.h>

#include <cstdlib>

#include "platform/kel/Assert.h"
#include "scenario/Journal.h"
#include "scenario/Scenario.h"
#include "scenarios/Documents.h"

/*
 * Every document beside this file, and every example, is a test: played as it stands, and once more
 * with a restart of the agent after each step that can bear one, which must not change the outcome.
 */

namespace {

using Scenarios::Scenario;
using Scenarios::Switch;

void expectStep( Switch & device, Scenario const & scenario, std::size_t step ) {
   for ( Documents::Unmet const & unmet : Scenarios::playStep( device, scenario, step ) ) {
      ADD_FAILURE() << describe( scenario, unmet );
   }
}

/** The agent has settled: what it finds in the flow tables is what it wants there. */
void restartSettled( Switch & device, std::size_t step ) {
   device.outputObserverIs( [&]( Scenarios::OutputChange const & change ) {
      if ( change.path.starts_with( "pinflow/dyninput/" ) ) {
         ADD_FAILURE() << "a restart after this step writes into a flow table: "
                       << journalLine( static_cast< std::int64_t >( step ), change );
      }
   } );
   device.restart();
   device.outputObserverIs( {} );
}

bool bearsRestart( Scenario const & scenario, std::size_t step ) {
   bool const changesNothing =
      std::holds_alternative< Scenarios::ExpectStep >( scenario.steps[step] );
   return !changesNothing && !scenario.noRestartAfter.contains( step );
}

bool bearsRestarts( Scenario const & scenario ) {
   std::size_t step = 0;
   while ( step != scenario.steps.size() && !bearsRestart( scenario, step ) ) {
      ++step;
   }
   return step != scenario.steps.size();
}

/** The state at the end. Stops after a step that failed, since what follows builds on it. */
Kel::Value play( Scenario const & scenario, bool withRestarts ) {
   Switch device( { .simulated = scenario.simulated } );
   for ( std::size_t step = 0; step != scenario.steps.size(); ++step ) {
      expectStep( device, scenario, step );
      if ( withRestarts && bearsRestart( scenario, step ) ) {
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
   Scenario const scenario = Scenarios::readScenario( GetParam() );
   if ( scenario.expectDeath ) {
      // No exception may reach the test: as in the program, it ends the process.
      auto const toItsEnd = [&]() noexcept { play( scenario, false ); };
      EXPECT_DEATH( toItsEnd(), *scenario.expectDeath );
   } else {
      play( scenario, false );
   }
}

TEST_P( ScenariosTest, OutlivesRestarts ) {
   Scenario const scenario = Scenarios::readScenario( GetParam() );
   if ( scenario.expectDeath ) {
      GTEST_SKIP() << "the process ends";
   }
   if ( !bearsRestarts( scenario ) ) {
      GTEST_SKIP() << "no step bears a restart";
   }
   Kel::Value const plain = play( scenario, false );
   Kel::Value const restarted = play( scenario, true );
   if ( !HasFailure() ) {
      EXPECT_EQ( Scenarios::differences( plain, restarted ), "" );
   }
}

INSTANTIATE_TEST_SUITE_P( Documents, ScenariosTest, testing::ValuesIn( Scenarios::documents() ),
                          Scenarios::testName );

}  // namespace
