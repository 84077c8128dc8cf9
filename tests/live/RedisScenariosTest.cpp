#include <gtest/gtest.h>

#include <cstdlib>

#include "live/RedisServer.h"
#include "live/WaitingStore.h"
#include "platform/kel/Assert.h"
#include "scenario/Journal.h"
#include "scenario/Scenario.h"
#include "scenarios/Documents.h"

/*
 * Every scenario once more, with its state in Redis: with a restart after each step that can bear
 * one the agent does the same, change by change, as with its state in memory, and the end is the
 * same.
 */

namespace {

using Scenarios::Scenario;
using Scenarios::Switch;

struct Played {
   Kel::Value end;
   std::string journal;
};

Played play( Scenario const & scenario, Corestore::Store * store ) {
   Played played;
   std::size_t step = 0;
   auto const note = [&]( Scenarios::OutputChange const & change ) {
      played.journal += journalLine( static_cast< std::int64_t >( step ), change ) + "\n";
   };
   Switch device( { .observer = note, .simulated = scenario.simulated, .store = store } );
   for ( ; step != scenario.steps.size(); ++step ) {
      for ( Documents::Unmet const & unmet : Scenarios::playStep( device, scenario, step ) ) {
         ADD_FAILURE() << describe( scenario, unmet );
      }
      bool const restarts =
         !std::holds_alternative< Scenarios::ExpectStep >( scenario.steps[step] ) &&
         !scenario.noRestartAfter.contains( step );
      if ( restarts && !testing::Test::HasFailure() ) {
         device.restart();
      }
   }
   played.end = device.dump();
   return played;
}

class RedisScenariosTest : public testing::TestWithParam< std::filesystem::path > {
 protected:
   static void SetUpTestSuite() {
      setenv( "FLASHLOG_DISABLE", "1", 1 );
      Kel::installTerminateHandler();
      if ( Live::RedisServer::isThere() ) {
         server = std::make_unique< Live::RedisServer >( false );
      }
   }
   static void TearDownTestSuite() { server = nullptr; }

   static inline std::unique_ptr< Live::RedisServer > server;
};

TEST_P( RedisScenariosTest, PlaysAsInMemory ) {
   if ( !server ) {
      GTEST_SKIP() << "redis-server is not there";
   }
   Scenario const scenario = Scenarios::readScenario( GetParam() );
   if ( scenario.expectDeath ) {
      GTEST_SKIP() << "the process ends";
   }
   server->ask( { "FLUSHALL" } );
   server->ask( { "HSET", "qor{local}:@state", "id", "test" } );
   Played const inMemory = play( scenario, nullptr );
   Live::WaitingStore store( server->address() );
   Played const inRedis = play( scenario, &store );
   EXPECT_EQ( Scenarios::differences( inMemory.end, inRedis.end ), "" );
   EXPECT_EQ( inMemory.journal, inRedis.journal );
}

INSTANTIATE_TEST_SUITE_P( Documents, RedisScenariosTest,
                          testing::ValuesIn( Scenarios::documents() ), Scenarios::testName );

}  // namespace
