#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/kel/StateMachine.h"
#include "platform/orb/Task.h"

namespace {

using Orb::Seconds;

/** A clock that someone sets, back as well. */
class SetTime final : public Orb::TimeSource {
 public:
   explicit SetTime( Seconds & time ) : time_( time ) {}
   Seconds now() const override { return time_; }
   void sleepUntil( Seconds time ) override { time_ = std::max( time_, time ); }
   Seconds waitFor( Seconds ) const override { return 0; }

 private:
   Seconds & time_;
};

struct Alarm final : Orb::Timer {
   Alarm( Orb::TaskScheduler & at, std::vector< std::string > & to, std::string text, Seconds time )
      : scheduler( at ), log( to ), name( std::move( text ) ) {
      scheduler.arm( *this, time );
   }
   ~Alarm() override { scheduler.disarm( *this ); }
   void due() override {
      log.push_back( name );
      if ( every > 0 ) {
         scheduler.arm( *this, scheduler.now() + every );
      }
   }
   Orb::TaskScheduler & scheduler;
   std::vector< std::string > & log;
   std::string name;
   Seconds every = 0;
};

TEST( SchedulerTest, TimersOutliveJumpsOfTheClock ) {
   using Log = std::vector< std::string >;
   Seconds time = 1000;
   Log log;
   Kel::Ptr< Orb::TaskScheduler > const scheduler(
      new Orb::TaskScheduler( std::make_unique< SetTime >( time ) ) );
   Alarm late( *scheduler, log, "late", 1300 );
   Alarm early( *scheduler, log, "early", 1100 );
   Alarm ticks( *scheduler, log, "tick", 1200 );
   ticks.every = 100;
   // Forward over all of them: each fires once, in order, and what repeats begins from there.
   time = 5000;
   scheduler->runReady();
   EXPECT_EQ( std::exchange( log, {} ), ( Log{ "early", "tick", "late" } ) );
   scheduler->runReady();
   EXPECT_EQ( log, Log{} );
   // Back: nothing fires early, nothing is lost.
   time = 0;
   scheduler->runReady();
   EXPECT_EQ( log, Log{} );
   scheduler->advanceTo( 5200 );
   EXPECT_EQ( std::exchange( log, {} ), ( Log{ "tick", "tick" } ) );
   EXPECT_EQ( time, 5200 );

   // A turn's end is told once for all that one moment brought, and after each posted work.
   int turns = 0;
   scheduler->turnEndIs( [&] { ++turns; } );
   Alarm other( *scheduler, log, "other", 5300 );
   scheduler->advanceTo( 5300 );
   EXPECT_EQ( turns, 1 );
   scheduler->post( [&] { log.push_back( "posted" ); } );
   scheduler->runReady();
   EXPECT_EQ( turns, 2 );
   EXPECT_EQ( log, ( Log{ "tick", "other", "posted" } ) );
   EXPECT_FALSE( scheduler->runOne() );
   EXPECT_EQ( turns, 2 );
}

TEST( SchedulerTest, CountsTurnsByTheirLength ) {
   Seconds time = 0;
   Kel::Ptr< Orb::TaskScheduler > const scheduler(
      new Orb::TaskScheduler( std::make_unique< SetTime >( time ) ) );
   for ( Seconds const length : { 0., 0.0005, 0.0008, 2., 50. } ) {
      scheduler->post( [&time, length] { time += length; } );
   }
   // What is told at a turn's end is a part of it.
   scheduler->turnEndIs( [&time] { time += time < 1 ? 0.002 : 0; } );
   scheduler->runReady();
   auto const & turns = scheduler->turns();
   EXPECT_EQ( turns.count, 5U );
   EXPECT_DOUBLE_EQ( turns.together, 52.0073 );
   EXPECT_DOUBLE_EQ( turns.longest, 50 );
   EXPECT_THAT( turns.upTo, testing::ElementsAre( 0, 0, 0, 0, 0, 3, 0, 0, 0, 0, 0, 1 ) );
}

class WorkerSm : public Kel::StateMachine {
   KEL_LOCAL_STATE_MACHINE( WorkerSm )
   KEL_TASK( KelTask, Orb::Task, task, handleTask )
   KEL_OWN( int, runs )
   void handleTask() { runsIs( runs() + 1 ); }
};

TEST( SchedulerTest, ATaskWithEqualArgumentsStays ) {
   Kel::Ptr< Orb::TaskScheduler > const scheduler(
      new Orb::TaskScheduler( std::make_unique< Orb::VirtualTime >() ) );
   auto const worker = Kel::create< WorkerSm >();
   worker->taskIs( scheduler, 3, "work" );
   Kel::Ptr< Orb::Task > const first = worker->task();
   worker->taskIs( scheduler, 3, "work" );
   EXPECT_EQ( worker->task(), first );
   EXPECT_EQ( worker->runs(), 1 );
   worker->taskIs( scheduler, 4, "work" );
   EXPECT_NE( worker->task(), first );
   worker->taskIs( scheduler, 4, "other" );
   EXPECT_EQ( worker->runs(), 3 );
}

struct Pipe final : Orb::Descriptor {
   Pipe( Orb::TaskScheduler & at, std::vector< std::string > & to, std::string text )
      : scheduler( at ), log( to ), name( std::move( text ) ) {
      EXPECT_EQ( ::pipe( ends ), 0 );
      scheduler.watch( *this, ends[0], POLLIN );
   }
   ~Pipe() override {
      scheduler.unwatch( *this );
      ::close( ends[0] );
      ::close( ends[1] );
   }
   void send() { EXPECT_EQ( ::write( ends[1], "x", 1 ), 1 ); }
   void ready( short ) override {
      char byte;
      EXPECT_EQ( ::read( ends[0], &byte, 1 ), 1 );
      log.push_back( name );
      if ( next ) {
         next();
      }
   }
   Orb::TaskScheduler & scheduler;
   std::vector< std::string > & log;
   std::string name;
   std::function< void() > next;
   int ends[2] = {};
};

TEST( SchedulerTest, DescriptorsAreServedAmongTasksAndTimers ) {
   std::vector< std::string > log;
   Kel::Ptr< Orb::TaskScheduler > const scheduler(
      new Orb::TaskScheduler( std::make_unique< Orb::RealTime >() ) );
   int turns = 0;
   scheduler->turnEndIs( [&] { ++turns; } );
   Pipe a( *scheduler, log, "a" );
   auto b = std::make_unique< Pipe >( *scheduler, log, "b" );
   Pipe c( *scheduler, log, "c" );
   a.send();
   b->send();
   c.send();
   // One that goes while another is served is not served any more.
   a.next = [&] { b = nullptr; };
   std::optional< Alarm > alarm;
   c.next = [&] { alarm.emplace( *scheduler, log, "late", scheduler->now() + 0.001 ); };
   // Busy for ever: what comes is served all the same.
   std::function< void() > busy = [&] { scheduler->post( [&] { busy(); } ); };
   busy();
   scheduler->run( [&] { return log.size() == 2; } );
   scheduler->postedDelAll();
   int const before = turns;
   scheduler->run( [&] { return log.size() == 3; } );
   EXPECT_EQ( log, ( std::vector< std::string >{ "a", "c", "late" } ) );
   EXPECT_EQ( turns, before + 1 );
}

}  // namespace
