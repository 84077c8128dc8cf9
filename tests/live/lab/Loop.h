#pragma once

#include <chrono>
#include <functional>
#include <mutex>
#include <optional>
#include <set>
#include <thread>
#include <vector>

#include "live/lab/Wire.h"

namespace Lab {

using Clock = std::chrono::steady_clock;

/** Something that does its work at times. */
class Timed {
 public:
   virtual ~Timed() = default;
   /** When the next piece of work is due, if any. */
   virtual std::optional< Clock::time_point > next() const = 0;
   virtual void work() = 0;
};

/** The thread that plays all devices of a laboratory. */
class Loop {
 public:
   Loop();
   ~Loop();
   Loop( Loop const & ) = delete;
   Loop & operator=( Loop const & ) = delete;

   /** Nothing is played while it is held. What belongs to the devices is read and changed under
    *  it; handlers and pieces of work run with it. */
   std::unique_lock< std::mutex > lock() { return std::unique_lock( mutex_ ); }

   using Taker = std::function< void( Frame const & ) >;
   /** Hands over what comes on a wire; several may hear one. */
   void hear( void const * who, Wire const & wire, Taker taker );
   void play( Timed & timed );
   /** Nothing of it is called any more. */
   void leave( void const * who );

 private:
   void run();
   void wake() const;

   std::mutex mutex_;
   struct Listener {
      void const * who;
      Wire const * wire;
      Taker taker;
   };
   std::vector< Listener > listeners_;
   std::set< Timed * > timed_;
   bool ends_ = false;
   int wake_;
   std::thread thread_;
};

}  // namespace Lab
