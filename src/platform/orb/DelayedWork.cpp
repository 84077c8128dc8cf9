#include "platform/orb/DelayedWork.h"

#include <utility>

namespace Orb {

void DelayedWork::later( std::function< void() > work ) {
   if ( delay_ == 0 ) {
      soon( std::move( work ) );
      return;
   }
   pending_.push_back( { scheduler_->now() + delay_, std::move( work ) } );
   if ( pending_.size() == 1 ) {
      scheduler_->arm( *this, pending_.front().time );
   }
}

void DelayedWork::due() {
   while ( !pending_.empty() && pending_.front().time <= scheduler_->now() ) {
      auto const work = std::move( pending_.front().work );
      pending_.pop_front();
      work();
   }
   // Work that asked for more may have armed it already.
   scheduler_->disarm( *this );
   if ( !pending_.empty() ) {
      scheduler_->arm( *this, pending_.front().time );
   }
}

}  // namespace Orb
