#pragma once

#include <optional>
#include <string>

#include "platform/orb/TaskScheduler.h"

namespace Program {

/** Tells the service manager, where one has started the process, of a state: "READY=1",
 *  "STOPPING=1", "STATUS=TEXT", or of several, a line each. The protocol is one datagram, for which
 * the manager's library would load half a dozen others into every command. */
void tellServiceManager( std::string const & state );

/** Tells it in time that the process lives, where it wants to know: as long as turns come to an
 *  end. */
class Watchdog : private Orb::Timer {
 public:
   explicit Watchdog( Kel::Ptr< Orb::TaskScheduler > scheduler );
   ~Watchdog() override { scheduler_->disarm( *this ); }
   Watchdog( Watchdog const & ) = delete;
   Watchdog & operator=( Watchdog const & ) = delete;

 private:
   void due() override;

   Kel::Ptr< Orb::TaskScheduler > scheduler_;
   /** Between two words; nothing where nobody waits for them. */
   std::optional< Orb::Seconds > interval_;
};

}  // namespace Program
