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
