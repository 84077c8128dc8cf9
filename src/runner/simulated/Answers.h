#pragma once

#include <deque>
#include <functional>

#include "platform/orb/TaskScheduler.h"

namespace Runner::Simulated {

/** Work that is done some fixed time after it was asked for, in the same order; never inside the
 *  asker's own call. The askers live as long as the scheduler runs. */
class Answers : public Kel::PtrInterface, private Orb::Timer {
 public:
   Answers( Kel::Ptr< Orb::TaskScheduler > scheduler, Orb::Seconds delay )
      : scheduler_( std::move( scheduler ) ), delay_( delay ) {}

   void later( std::function< void() > work );
   /** In the next turn, whatever the delay. */
   void soon( std::function< void() > work ) { scheduler_->post( std::move( work ) ); }

 protected:
   ~Answers() override { scheduler_->disarm( *this ); }

 private:
   struct Pending {
      Orb::Seconds time;
      std::function< void() > work;
   };
   void due() override;

   Kel::Ptr< Orb::TaskScheduler > scheduler_;
   Orb::Seconds delay_;
   std::deque< Pending > pending_;
};

}  // namespace Runner::Simulated
