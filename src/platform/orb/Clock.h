#pragma once

#include "platform/kel/Entity.h"
#include "platform/orb/TaskScheduler.h"

namespace Kel {

using Seconds = Orb::Seconds;

/** A one-shot timer. When its time has come it notifies `timeMin` and is at the end of time again.
 */
class Clock : public NamedEntity, private Orb::Timer {
   KEL_ATTRIBUTES( Kel::Clock, ::Kel::NamedEntity )
   KEL_TYPE_RECORD( Kel::Clock )
   static constexpr AttributeId timeMinId = 0;
   using Kel_timeMin = AttributeTag< timeMinId, void >;

   explicit Clock( Ptr< Orb::TaskScheduler > scheduler );
   ~Clock() override;

   Seconds currentTime() const { return scheduler_->now(); }
   /** Replaces the time at which the clock notifies; `Orb::endOfTime` for never. */
   void timeMinIs( Seconds time );

 private:
   void due() override;

   Ptr< Orb::TaskScheduler > scheduler_;
};
KEL_FACTORY( clockFactory, Clock )

}  // namespace Kel
