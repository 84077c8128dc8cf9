#pragma once

#include <cstdint>
#include <optional>

#include "platform/kel/Attributes.h"
#include "platform/kel/Entity.h"
#include "platform/kel/StateMachine.h"
#include "platform/orb/TaskScheduler.h"

namespace Orb {

/** A deferred piece of work. Each run is a notification of its attribute `run`. */
class Task : public Kel::NamedEntity {
   KEL_ATTRIBUTES( Orb::Task, ::Kel::NamedEntity )
   KEL_TYPE_RECORD( Orb::Task )
   static constexpr Kel::AttributeId runId = 0;
   using Kel_run = Kel::AttributeTag< runId, void >;

   Task( Kel::Ptr< TaskScheduler > scheduler, TaskPriority priority, Kel::Name name );
   ~Task() override;

   Kel::Ptr< TaskScheduler > taskScheduler() const { return scheduler_; }
   TaskPriority taskPriority() const { return priority_; }

   /** Asks for a run; a task that waits for one already keeps its turn. */
   void scheduleTask();
   /** True during a run. */
   bool taskCurrentlyRunning() const { return scheduler_->running() == this; }
   /** Counts one unit of work; true when the run has used its slice. */
   bool taskShouldYield() { return scheduler_->sliceUsed(); }
   /** How much work remains, and how much has been done so far. */
   void taskWorkPendingIs( std::uint64_t pending ) { workPending_ = pending; }
   void taskWorkCountInc( std::uint64_t done ) { workCount_ += done; }
   std::uint64_t taskWorkPending() const { return workPending_; }
   std::uint64_t taskWorkCount() const { return workCount_; }

   /** For the scheduler. */
   void run();

 protected:
   TaskScheduler & scheduler() const { return *scheduler_; }

 private:
   Kel::Ptr< TaskScheduler > scheduler_;
   TaskPriority priority_;
   bool scheduled_ = false;
   std::uint64_t workPending_ = 0;
   std::uint64_t workCount_ = 0;
};

KEL_FACTORY( taskFactory, Task )

/** A task that runs after a delay. */
class TimerTask : public Task, private Timer {
 public:
   using Task::Task;
   ~TimerTask() override;

   /** Arms the timer, in seconds from now; of several pending times the earliest stays. */
   void scheduleTaskLowestDelay( Seconds delay );

 private:
   void due() override;

   std::optional< Seconds > armed_;
};
KEL_FACTORY( timerTaskFactory, TimerTask )

}  // namespace Orb

/** A task of the machine's own and the handler that its runs call: `xIs( scheduler, priority,
 *  name )` makes it and runs the handler once; a task that stands with equal ones stays. */
#define KEL_TASK( Class, TaskType, attribute, handler )                                       \
   KEL_OWN_REACTOR( Class, TaskType, attribute, KEL_ON( run, handler ) )                      \
   void attribute##Is( ::Kel::Ptr< ::Orb::TaskScheduler > const & taskScheduler,              \
                       ::Orb::TaskPriority taskPriority, char const * taskName ) {            \
      ::Kel::Ptr< TaskType > const standing = attribute();                                    \
      if ( !standing || standing->taskScheduler() != taskScheduler ||                         \
           standing->taskPriority() != taskPriority || standing->name() != taskName ) {       \
         attribute##Is( ::Kel::create< TaskType >( taskScheduler, taskPriority, taskName ) ); \
      }                                                                                       \
   }
