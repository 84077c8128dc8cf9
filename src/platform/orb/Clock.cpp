#include "platform/orb/Clock.h"

#include <utility>

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
