#pragma once

#include "platform/orb/TaskScheduler.h"

namespace Program {

/** SIGTERM and SIGINT as something that the scheduler waits for; they end nothing by themselves any
 *  more. */
class StopSignal : private Orb::Descriptor {
 public:
   explicit StopSignal( Kel::Ptr< Orb::TaskScheduler > scheduler );
   ~StopSignal() override;
   StopSignal( StopSignal const & ) = delete;
   StopSignal & operator=( StopSignal const & ) = delete;

   bool came() const { return came_; }

 private:
   void ready( short events ) override;

   Kel::Ptr< Orb::TaskScheduler > scheduler_;
   int fd_;
   bool came_ = false;
};

}  // namespace Program
