#pragma once

#include <deque>
#include <map>
#include <optional>
#include <string>

#include "platform/corestore/EntityManager.h"
#include "platform/orb/TaskScheduler.h"
#include "web/Events.h"

namespace Web {

/** Tells open pages of changes, in bundles: of which kinds there were how many, and the first ones
 *  of them. The first change behind a pause is told at once; who asks for much after each bundle is
 *  told of fewer, so that most of a processor stays to others. */
class Changes : private Orb::Timer {
 public:
   /** How many of each kind. */
   using Counted = std::map< std::string, std::uint64_t, std::less<> >;

   Changes( Corestore::EntityManager & em, Events & events );
   ~Changes() override;

   /** The last ones, the newest first. */
   Kel::Value::Array last() const;
   /** What was asked for took so long. */
   void answered( Orb::Seconds took ) { spent_ += took; }
   /** Of each kind, since the process began. */
   Counted const & counts() const { return counts_; }

 private:
   void seen( Corestore::Change const & change );
   void due() override;

   Corestore::EntityManager & em_;
   Events & events_;
   std::deque< Kel::Value > last_;
   /** Of the change that was seen last; later ones have greater ones, also behind a restart. */
   std::uint64_t number_;
   Counted counts_;
   Counted bundle_;
   Kel::Value::Array shown_;
   bool isArmed_ = false;
   Orb::Seconds told_ = -1;
   /** Since then, for answers. */
   Orb::Seconds spent_ = 0;
   std::optional< Corestore::ChangeObserver > observer_;
};

/** What a change at a place concerns: "flows", "rules", "answers", "hosts", "ports", "tunnels",
 *  "policy", "routed", "agent", "service" or "switch". */
char const * kindOfChange( std::string_view rootPath );

}  // namespace Web
