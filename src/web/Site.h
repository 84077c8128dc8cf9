#pragma once

#include <functional>
#include <optional>
#include <string>

#include "web/Changes.h"
#include "web/Events.h"
#include "web/Guard.h"
#include "web/Metrics.h"
#include "web/Request.h"
#include "web/Situation.h"

namespace Web {

/** What is served of a switch: the page, what it asks for, its events and the metrics. Nothing of
 *  it changes anything. */
class Site {
 public:
   Site( Corestore::EntityManager & em, std::string switchName, Guard guard )
      : em_( em ), switchName_( std::move( switchName ) ), guard_( std::move( guard ) ) {}

   /** Pages that ask for the same after an event are given the same: nothing older than the last
    *  event is. */
   Answer answer( Request const & request );
   Events & events() { return events_; }

   /** The state stands: from now on its changes are told. */
   void follow();
   /** What has become of where it comes from. */
   void situationIs( Situation situation );
   Situation const & situation() const { return situation_; }
   void serverCountsAre( std::function< ServerCounts() > counts ) { server_ = std::move( counts ); }

 private:
   Answer view( std::string const & name, Request const & request ) const;
   Answer picture( Request const & request ) const;
   Answer table( std::string const & name, Request const & request ) const;
   Answer chains( Request const & request ) const;
   Answer frame( Request const & request ) const;
   Answer last() const;
   Answer processes() const;
   Answer metrics() const;
   Answer stream() const;
   Kel::Value::Object situationValue() const;

   Corestore::EntityManager & em_;
   std::string switchName_;
   Guard guard_;
   Events events_;
   std::optional< Changes > changes_;
   Situation situation_;
   std::function< ServerCounts() > server_;
   /** What was answered since the events were so many. */
   std::map< std::pair< std::string, decltype( Request::query ) >, Answer > known_;
   std::uint64_t knownAt_ = 0;
};

}  // namespace Web
