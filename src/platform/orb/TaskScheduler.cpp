#include "platform/orb/TaskScheduler.h"

#include <poll.h>

#include <algorithm>
#include <chrono>
#include <thread>

#include "platform/orb/Task.h"

namespace Orb {

namespace {

auto sinceEpoch() {
   return std::chrono::steady_clock::now().time_since_epoch();
}

}  // namespace

Seconds RealTime::now() const {
   return std::chrono::duration< Seconds >( sinceEpoch() ).count();
}

void RealTime::sleepUntil( Seconds time ) {
   if ( Seconds wait = time - now(); wait > 0 ) {
      std::this_thread::sleep_for( std::chrono::duration< Seconds >( wait ) );
   }
}

void TaskScheduler::fireDueTimers() {
   bool fired = false;
   Seconds const began = now();
   while ( !timers_.empty() && timers_.begin()->first.first <= now() ) {
      Timer * timer = timers_.begin()->second;
      timers_.erase( timers_.begin() );
      timer->due();
      fired = true;
   }
   if ( fired ) {
      endTurn( began );
   }
}

void TaskScheduler::endTurn( Seconds began ) {
   ++turns_.count;
   if ( turnEnd_ ) {
      turnEnd_();
   }
   // What is saved and told at its end is a part of it.
   Seconds const length = now() - began;
   turns_.longest = std::max( turns_.longest, length );
   turns_.together += length;
   auto const step = std::ranges::lower_bound( Turns::steps, length );
   if ( step != Turns::steps.end() ) {
      ++turns_.upTo[static_cast< std::size_t >( step - Turns::steps.begin() )];
   }
}

bool TaskScheduler::runOne() {
   fireDueTimers();
   Seconds const began = now();
   if ( !posted_.empty() ) {
      auto work = std::move( posted_.front() );
      posted_.pop_front();
      work();
   } else if ( !ready_.empty() ) {
      Kel::Ptr< Task > task( ready_.begin()->second );
      ready_.erase( ready_.begin() );
      running_ = task.ptr();
      unitsUsed_ = 0;
      runStart_ = now();
      task->run();
      running_ = nullptr;
   } else {
      return false;
   }
   endTurn( began );
   return true;
}

void TaskScheduler::runReady() {
   while ( runOne() ) {
   }
}

void TaskScheduler::advanceTo( Seconds time ) {
   runReady();
   while ( !timers_.empty() && timers_.begin()->first.first <= time ) {
      time_->sleepUntil( timers_.begin()->first.first );
      fireDueTimers();
      runReady();
   }
   time_->sleepUntil( time );
   runReady();
}

void TaskScheduler::run( std::function< bool() > const & stop ) {
   while ( !stop() ) {
      if ( runOne() ) {
         serveDescriptors( 0 );
         continue;
      }
      // Timers alone may have fired.
      if ( stop() ) {
         return;
      }
      Seconds next = endOfTime;
      Seconds wait = endOfTime;
      if ( !timers_.empty() ) {
         next = timers_.begin()->first.first;
         wait = next == endOfTime ? endOfTime : time_->waitFor( next );
      }
      serveDescriptors( wait );
      if ( wait <= 0 ) {
         time_->sleepUntil( next );
      }
   }
}

void TaskScheduler::serveDescriptors( Seconds wait ) {
   if ( descriptors_.empty() && wait <= 0 ) {
      return;
   }
   std::vector< pollfd > polled;
   for ( Watched const & watched : descriptors_ ) {
      polled.push_back( { watched.fd, watched.events, 0 } );
   }
   // A wait beyond what a timespec holds is one without end.
   timespec limit{};
   bool const endless = wait > 1e9;
   if ( !endless && wait > 0 ) {
      limit.tv_sec = static_cast< time_t >( wait );
      limit.tv_nsec =
         static_cast< long >( ( wait - static_cast< Seconds >( limit.tv_sec ) ) * 1e9 );
   }
   auto const watchedNow = descriptors_;
   if ( ::ppoll( polled.data(), polled.size(), endless ? nullptr : &limit, nullptr ) <= 0 ) {
      return;
   }
   for ( std::size_t i = 0; i != polled.size(); ++i ) {
      if ( polled[i].revents == 0 ) {
         continue;
      }
      // One that was served before it may have ended it, or have it watch another.
      bool const stands = std::ranges::any_of( descriptors_, [&]( Watched const & watched ) {
         return watched.descriptor == watchedNow[i].descriptor && watched.fd == polled[i].fd;
      } );
      if ( stands ) {
         Seconds const began = now();
         watchedNow[i].descriptor->ready( polled[i].revents );
         endTurn( began );
      }
   }
}

void TaskScheduler::watch( Descriptor & descriptor, int fd, short events ) {
   unwatch( descriptor );
   descriptors_.push_back( { &descriptor, fd, events } );
}

void TaskScheduler::unwatch( Descriptor & descriptor ) {
   std::erase_if( descriptors_, [&descriptor]( Watched const & watched ) {
      return watched.descriptor == &descriptor;
   } );
}

void TaskScheduler::sliceIs( std::uint32_t units, Seconds time ) {
   sliceUnits_ = units;
   sliceTime_ = time;
}

bool TaskScheduler::sliceUsed() {
   return ++unitsUsed_ >= sliceUnits_ || now() - runStart_ >= sliceTime_;
}

void TaskScheduler::ready( Task & task, TaskPriority priority ) {
   ready_.emplace( std::pair( priority, ++sequence_ ), &task );
}

void TaskScheduler::notReady( Task & task ) {
   std::erase_if( ready_, [&task]( auto const & entry ) { return entry.second == &task; } );
}

void TaskScheduler::arm( Timer & timer, Seconds time ) {
   timers_.emplace( std::pair( time, ++sequence_ ), &timer );
}

void TaskScheduler::disarm( Timer & timer ) {
   std::erase_if( timers_, [&timer]( auto const & entry ) { return entry.second == &timer; } );
}

}  // namespace Orb
