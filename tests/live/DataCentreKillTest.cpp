#include <chrono>
#include <cstdlib>
#include <random>
#include <thread>

#include "live/DataCentre.h"

/*
 * A thousand packets a second pass the service while agent, driver and server are killed: none is
 * lost, and none comes without the service. When the switch's daemon is killed they are lost while
 * it is away, and right again at once; none of those in between comes without the service either.
 *
 * QORCLIENT_LIVE_KILLS=N kills N times, and the daemon a fifteenth as often (as many as fit into a
 * minute, and 5); QORCLIENT_LIVE_SEED=N chooses other victims and instants.
 */

namespace {

using Lab::Clock;
using Live::eventually;
using std::chrono::milliseconds;

std::uint64_t numberOf( char const * variable, std::uint64_t otherwise ) {
   char const * const text = std::getenv( variable );
   return text ? std::strtoull( text, nullptr, 10 ) : otherwise;
}

class DataCentreKillTest : public Live::DataCentre {
 protected:
   void SetUp() override {
      DataCentre::SetUp();
      if ( lab ) {
         intercept();
         EXPECT_EQ( sends( *a, *router ), passed() );
      }
   }
   void rest( std::uint64_t atMost ) {
      std::this_thread::sleep_for( std::chrono::microseconds( random() % ( 1000 * atMost ) ) );
   }
   Frame const frame = Lab::udpFrame( macA, macRouter, "10.0.0.1", "10.0.0.254" );
   std::uint64_t const seed = numberOf( "QORCLIENT_LIVE_SEED", 1 );
   std::mt19937_64 random{ seed };
};

TEST_F( DataCentreKillTest, NoPacketIsLostOrPassesTheServiceBy ) {
   std::uint64_t const kills = numberOf( "QORCLIENT_LIVE_KILLS", 300 );
   bool const isTimed = !std::getenv( "QORCLIENT_LIVE_KILLS" );
   auto const end = Clock::now() + std::chrono::seconds( 60 );
   Lab::Stream stream( lab->loop(), *a, *router, frame, 1000 );
   std::uint64_t done = 0;
   for ( ; done != kills && ( !isTimed || Clock::now() < end ); ++done ) {
      RecordProperty( "kills", std::to_string( done ) );
      rest( 150 );
      switch ( random() % 3 ) {
         case 0:
            agent->kill();
            rest( 50 );
            agent = device.serve();
            break;
         case 1:
            driver->kill();
            rest( 50 );
            startDriver( false );
            break;
         default:
            device.server().kill();
            rest( 50 );
            device.server().start();
      }
      if ( done % 10 == 9 ) {
         // Late is not lost.
         auto const until = Clock::now();
         eventually( [&] { return stream.sum( {}, until ).lost == 0; } );
         auto const sum = stream.sum( {}, until );
         ASSERT_EQ( sum, passed( sum.sent ) ) << "seed " << seed << ", after " << done << " kills";
      }
   }
   RecordProperty( "kills", std::to_string( done ) );
   auto const sum = stream.end();
   EXPECT_EQ( sum, passed( sum.sent ) ) << "seed " << seed << ", after " << done << " kills";
   EXPECT_TRUE( becomes( "web/from-a", "programmed" ) );
   EXPECT_TRUE( eventually( [&] { return device.run( { "audit" } ) == 0; } ) ) << device.said();
   std::printf( "%s, %llu kills, seed %llu\n", testing::PrintToString( sum ).c_str(),
                static_cast< unsigned long long >( done ),
                static_cast< unsigned long long >( seed ) );
}

TEST_F( DataCentreKillTest, ADaemonThatIsBackSendsNothingPastTheService ) {
   std::uint64_t const kills =
      std::max< std::uint64_t >( 1, numberOf( "QORCLIENT_LIVE_KILLS", 75 ) / 15 );
   Lab::Stream stream( lab->loop(), *a, *router, frame, 1000 );
   for ( std::uint64_t i = 0; i != kills; ++i ) {
      rest( 1000 );
      lab->openVSwitch().killDaemon();
      rest( 200 );
      lab->openVSwitch().startDaemon();
      auto const back = Clock::now();
      EXPECT_TRUE( eventually( [&] {
         return stream.rightSince( Clock::now() - milliseconds( 100 ) ) <
                Clock::now() - milliseconds( 600 );
      } ) );
      auto const took = stream.rightSince( Clock::now() - milliseconds( 100 ) ) - back;
      EXPECT_LT( took, std::chrono::seconds( 1 ) );
      std::printf( "right after %lld ms\n", static_cast< long long >( took / milliseconds( 1 ) ) );
   }
   RecordProperty( "kills", std::to_string( kills ) );
   auto const sum = stream.end( 0.5 );
   EXPECT_EQ( sum.past, 0 ) << "seed " << seed;
   EXPECT_EQ( sum.duplicated, 0 ) << "seed " << seed;
   std::printf( "%s, %llu kills, seed %llu\n", testing::PrintToString( sum ).c_str(),
                static_cast< unsigned long long >( kills ),
                static_cast< unsigned long long >( seed ) );
}

}  // namespace
