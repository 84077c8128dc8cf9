#pragma once

#include <cstdint>

#include "platform/orb/TaskScheduler.h"

namespace Program {

/** Gives memory back to the machine that a burst of work has taken and left free, once there is
 *  little to do: it can be more than all that is in use. */
class SpareMemory : private Orb::Timer {
 public:
   explicit SpareMemory( Kel::Ptr< Orb::TaskScheduler > scheduler );
   ~SpareMemory() override { scheduler_->disarm( *this ); }
   SpareMemory( SpareMemory const & ) = delete;
   SpareMemory & operator=( SpareMemory const & ) = delete;

 private:
   void due() override;

   Kel::Ptr< Orb::TaskScheduler > scheduler_;
   /** Seconds of a processor. */
   double used_ = 0;
   /** In bytes, when it was looked at last. */
   std::uint64_t resident_ = 0;
};

}  // namespace Program
