#pragma once

#include <functional>
#include <string>

#include "stores/redis/Link.h"

namespace Redis {

/** Writes the marker that tells a state from no state: each state gets one, once. */
class StateMarker {
 public:
   struct Outcome {
      /** Empty when it could not be written, for `error`. */
      std::string id = {};
      bool made = false;
      std::string error = {};
   };

   /** Makes the marker where there is none; with `accept` it says of one that is there that the
    *  state beside it is the right one. `done` is called once. */
   StateMarker( Kel::Ptr< Orb::TaskScheduler > scheduler, Address const & address,
                Access const & access, std::string const & switchName, bool accept,
                std::function< void( Outcome const & ) > done );

 private:
   void make();

   Keys keys_;
   bool accept_;
   std::function< void( Outcome const & ) > done_;
   Link link_;
};

}  // namespace Redis
