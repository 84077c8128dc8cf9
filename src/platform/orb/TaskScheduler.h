#pragma once

#include <array>
#include <cstdint>
#include <deque>
#include <functional>
#include <limits>
#include <map>
#include <memory>
#include <utility>
#include <vector>

#include "platform/kel/Ptr.h"

namespace Orb {

class Task;

/** Seconds on the scheduler's clock, from an origin of the clock's own. */
using Seconds = double;
inline constexpr Seconds endOfTime = std::numeric_limits< Seconds >::infinity();

/** A smaller number runs first. */
using TaskPriority = unsigned;

/** Where the scheduler's time comes from. */
class TimeSource {
 public:
   virtual ~TimeSource() = default;
   virtual Seconds now() const = 0;
   /** Returns at that time; at once when it has passed. */
   virtual void sleepUntil( Seconds time ) = 0;
   /** How long to wait for that time in the world outside; zero or less for a clock that is moved
    *  by hand. */
   virtual Seconds waitFor( Seconds time ) const = 0;
};

/** The machine's own clock. */
class RealTime final : public TimeSource {
 public:
   Seconds now() const override;
   void sleepUntil( Seconds time ) override;
   Seconds waitFor( Seconds time ) const override { return time - now(); }
};

/** A clock that stands still until someone moves it: for tests and scenarios. */
class VirtualTime final : public TimeSource {
 public:
   Seconds now() const override { return now_; }
   void sleepUntil( Seconds time ) override { now_ = time > now_ ? time : now_; }
   Seconds waitFor( Seconds ) const override { return 0; }

 private:
   Seconds now_ = 0;
};

/** Something that is due at a time. It leaves the scheduler when it is destroyed. */
class Timer {
 public:
   virtual ~Timer() = default;
   virtual void due() = 0;
};

/** A file descriptor that something comes from or goes to. It leaves the scheduler when it is
 *  destroyed. */
class Descriptor {
 public:
   virtual ~Descriptor() = default;
   /** The descriptor is ready for what was asked for, or has failed: `events` as poll(2) tells. It
    *  runs in a turn of its own. */
   virtual void ready( short events ) = 0;
};

/** Runs tasks, timers and what descriptors bring, one at a time, on the thread that calls it. */
class TaskScheduler : public Kel::PtrInterface {
 public:
   explicit TaskScheduler( std::unique_ptr< TimeSource > time ) : time_( std::move( time ) ) {}

   Seconds now() const { return time_->now(); }

   /** Runs a piece of work in a later turn, before any task. */
   void post( std::function< void() > work ) { posted_.push_back( std::move( work ) ); }

   /** Drops posted work, when those for whom it was posted go. */
   void postedDelAll() { posted_.clear(); }

   /** Fires all due timers, which is a turn of its own, then runs one piece of posted work or the
    *  first ready task. False when there was neither, whatever timers fired. */
   bool runOne();
   /** Turns until nothing is ready; time is not waited for. */
   void runReady();
   /** Goes to that time; timers fire in order on the way, each followed by what it made ready. */
   void advanceTo( Seconds time );
   /** Runs and waits, for timers and descriptors, until `stop` says so, which is asked after each
    *  turn and after a signal. */
   void run( std::function< bool() > const & stop );

   /** Runs after each turn that did something, the timers of one moment included; for what is saved
    *  or told once a turn. What it throws ends the run. */
   void turnEndIs( std::function< void() > handler ) { turnEnd_ = std::move( handler ); }

   /** What it has done so far. Lengths are by the scheduler's clock. */
   struct Turns {
      std::uint64_t count = 0;
      Seconds longest = 0;
      Seconds together = 0;
      /** How many lasted up to one of these, and longer than the one before. */
      static constexpr std::array< Seconds, 12 > steps{
         0.00001, 0.00003, 0.0001, 0.0003, 0.001, 0.003, 0.01, 0.03, 0.1, 0.3, 1, 3 };
      std::array< std::uint64_t, steps.size() > upTo{};
   };
   Turns const & turns() const { return turns_; }
   /** Pieces of work and tasks that are waiting for their turn. */
   std::size_t queue() const { return posted_.size() + ready_.size(); }

   /** How long one run of a task may last: units of work, and time on the scheduler's clock. */
   void sliceIs( std::uint32_t units, Seconds time );

   // For tasks and timers.
   void ready( Task & task, TaskPriority priority );
   void notReady( Task & task );
   void arm( Timer & timer, Seconds time );
   void disarm( Timer & timer );
   /** Waits for events of poll(2) on a descriptor, from now on in place of those asked for before.
    */
   void watch( Descriptor & descriptor, int fd, short events );
   void unwatch( Descriptor & descriptor );
   /** Counts one unit of the present run; true when its slice is used up. */
   bool sliceUsed();
   Task * running() const { return running_; }

 private:
   void fireDueTimers();
   /** Runs those of the watched descriptors that are ready; waits for one so many seconds. */
   void serveDescriptors( Seconds wait );
   void endTurn( Seconds began );

   std::unique_ptr< TimeSource > time_;
   std::deque< std::function< void() > > posted_;
   // Tasks, timers and descriptors belong to others, and leave when they go.
   std::map< std::pair< TaskPriority, std::uint64_t >, Task * > ready_;
   std::map< std::pair< Seconds, std::uint64_t >, Timer * > timers_;
   struct Watched {
      Descriptor * descriptor;
      int fd;
      short events;
   };
   std::vector< Watched > descriptors_;
   std::uint64_t sequence_ = 0;
   std::function< void() > turnEnd_;
   Turns turns_;

   Task * running_ = nullptr;
   std::uint32_t unitsUsed_ = 0;
   Seconds runStart_ = 0;
   std::uint32_t sliceUnits_ = 4096;
   Seconds sliceTime_ = 0.005;
};

}  // namespace Orb
