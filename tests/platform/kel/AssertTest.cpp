#include "platform/kel/Assert.h"

#include <gmock/gmock.h>

#include <csignal>
#include <stdexcept>

#include "platform/flashlog/TraceSupport.h"
#include "platform/kel/Entity.h"
#include "platform/kel/StandardError.h"

KEL_TRACE_UNIT( "AssertTest", "AssertTestHandle" )

namespace {

struct Vtis {
   void check( int n ) {
      KEL_ASSERT( n < 2 || ( 0 && "QORClient will not support two Interfaces. " ), "VlanToVniSm" );
      KEL_ASSERT_AT( n > 0, "!agentStatus()->resyncInProgress()", "HostTrackerSm", 72 );
   }
};

auto aborted() {
   return testing::KilledBySignal( SIGABRT );
}

class AssertDeathTest : public TraceFixture {};

TEST_F( AssertDeathTest, AssertionsAreToldAndFlushed ) {
   Vtis{}.check( 1 );
   EXPECT_EXIT( Vtis{}.check( 2 ), aborted(),
                "VlanToVniSm:[0-9]+: .*Vtis::check\\(int\\): Assertion `n < 2 \\|\\| "
                "\\( ?0 && \"QORClient will not support two Interfaces. \" ?\\)' failed" );
   EXPECT_EXIT(
      Vtis{}.check( 0 ), aborted(),
      "HostTrackerSm:72: .*check.*Assertion `!agentStatus\\(\\)->resyncInProgress\\(\\)'" );
   EXPECT_EXIT(
      {
         Kel::FlushHook const first( [] { throw std::runtime_error( "disk full" ); } );
         {
            Kel::FlushHook const gone( [] { Kel::writeStandardError( "GONE" ); } );
         }
         Kel::FlushHook const second( [] {
            Kel::writeStandardError( "store flushed\n" );
            KEL_ASSERT( false, "Nested" );
         } );
         Vtis{}.check( 0 );
      },
      aborted(), "HostTrackerSm:72.*\nA flush hook failed.*\nstore flushed\nNested:[^G]*$" );
   EXPECT_EXIT(
      {
         open();
         KEL_TRACE_INFO( "before the end" );
         Vtis{}.check( 0 );
      },
      aborted(), "" );
   EXPECT_THAT( decoded(), testing::ElementsAre( testing::EndsWith( "before the end" ) ) );
}

TEST_F( AssertDeathTest, AFollowedNullPointerIsToldAndFlushed ) {
   EXPECT_EXIT(
      {
         open();
         KEL_TRACE_INFO( "before the end" );
         Kel::Ptr< Kel::Entity >()->keyName();
      },
      aborted(), "A null pointer was followed: .*Kel::Entity" );
   EXPECT_THAT( decoded(), testing::ElementsAre( testing::EndsWith( "before the end" ) ) );
}

TEST_F( AssertDeathTest, UncaughtExceptionsAreToldAndFlushed ) {
   // Outside: where a noexcept function is what stops an exception, its locals may be gone by then.
   Kel::FlushHook const hook( [] { Kel::writeStandardError( "flushed\n" ); } );
   auto const raise = []( auto thrown ) { throw thrown; };
   auto const terminate = [&]( auto thrown ) noexcept {
      Kel::installTerminateHandler();
      raise( thrown );
   };
   EXPECT_EXIT( terminate( std::out_of_range( "VlanId 5000" ) ), aborted(),
                "Uncaught exception std::out_of_range: VlanId 5000\nflushed" );
   EXPECT_EXIT( terminate( 7 ), aborted(), "Uncaught exception of type int\nflushed" );
   EXPECT_EXIT(
      {
         Kel::installTerminateHandler();
         std::terminate();
      },
      aborted(), "without an exception" );
}

}  // namespace
