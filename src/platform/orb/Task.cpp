#include "platform/orb/Task.h"

#include <utility>

namespace Orb {

Task::Task( Kel::Ptr< TaskScheduler > scheduler, TaskPriority priority, Kel::Name name )
   : NamedEntity( std::move( name ) ),
     scheduler_( std::move( scheduler ) ),
     priority_( priority ) {}

Task::~Task() {
   if ( scheduled_ ) {
      scheduler_->notReady( *this );
   }
}

void Task::scheduleTask() {
   if ( !std::exchange( scheduled_, true ) ) {
      scheduler_->ready( *this, priority_ );
   }
}

void Task::run() {
   scheduled_ = false;
   notify( runId );
}

TimerTask::~TimerTask() {
   scheduler().disarm( *this );
}

void TimerTask::scheduleTaskLowestDelay( Seconds delay ) {
   Seconds time = scheduler().now() + delay;
   if ( !armed_ || time < *armed_ ) {
      scheduler().disarm( *this );
      armed_ = time;
      scheduler().arm( *this, time );
   }
}

void TimerTask::due() {
   armed_.reset();
   scheduleTask();
}

}  // namespace Orb

namespace Kel {

Clock::Clock( Ptr< Orb::TaskScheduler > scheduler )
   : NamedEntity( "clock" ), scheduler_( std::move( scheduler ) ) {}

Clock::~Clock() {
   scheduler_->disarm( *this );
}

void Clock::timeMinIs( Seconds time ) {
   scheduler_->disarm( *this );
   if ( time != Orb::endOfTime ) {
      scheduler_->arm( *this, time );
   }
}

void Clock::due() {
   notify( timeMinId );
}

}  // namespace Kel
