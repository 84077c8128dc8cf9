#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "platform/orb/TaskScheduler.h"
#include "stores/redis/Connection.h"
#include "stores/redis/Keys.h"

namespace Redis {

/**
 * The right to write in a role, which one process of a switch has at a time. Each holder gets a
 * higher fence than those before it. The key is watched by the connection that writes, so that a
 * write of whoever has lost the lease is refused as a whole, even if it was asleep for an hour.
 */
class Lease {
 public:
   Lease( Keys const & keys, std::string role, Orb::Seconds time );

   struct Asked {
      enum class Result {
         held,
         /** Someone else has it: `holder`, for `seconds` from now unless it is renewed. */
         heldByOther,
         /** Someone else has had it since this one had it. */
         outdated,
         /** `error` is the server's. */
         failed
      };
      Result result;
      std::string holder = {};
      Orb::Seconds seconds = 0;
      std::string error = {};
   };
   /** Asks for it. A holder of this machine that has ended without a word does not keep it. */
   void ask( Connection & connection, std::function< void( Asked const & ) > answer );

   /** Watches the key, for the connection's next transaction, and says whether it is held. */
   void watch( Connection & connection, std::function< void( bool held ) > answer );
   // Within a transaction.
   void renew( Connection & connection ) const;
   void release( Connection & connection ) const;

   Orb::Seconds time() const { return time_; }
   std::uint64_t fence() const { return fence_; }

 private:
   void take( Connection & connection, std::uint64_t fence,
              std::function< void( Asked const & ) > answer );
   std::string valueOf( std::uint64_t fence ) const {
      return std::to_string( fence ) + " " + holder_;
   }

   std::string key_;
   std::string fenceKey_;
   Orb::Seconds time_;
   std::string holder_;
   /** The highest that it has held; zero for none. */
   std::uint64_t fence_ = 0;
};

/** Who holds a lease, as people read it, from the key's value: "process 17 on leaf1". */
std::string shownHolder( std::string_view value );

}  // namespace Redis
