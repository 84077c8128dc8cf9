#pragma once

#include <set>
#include <string>
#include <utility>

#include "platform/corestore/EntityManager.h"

namespace Program {

/** Tells in the event log what becomes of flows, each by its name: its state, how many of its rules
 *  the hardware has, and each rule that it refuses. Changes are told in bundles, as they stand at a
 *  bundle's end. */
class FlowLog : private Orb::Timer {
 public:
   /** Tells what changes from now on. */
   explicit FlowLog( Corestore::EntityManager & em );
   ~FlowLog() override;
   FlowLog( FlowLog const & ) = delete;
   FlowLog & operator=( FlowLog const & ) = delete;

 private:
   /** Fragment or VRF, and flow. */
   using Flow = std::pair< std::string, std::string >;

   void seen( Corestore::Change const & change );
   void due() override;
   void tellRule( std::string const & rule );
   void tellFlow( Flow const & flow ) const;
   void tellRoutedFlow( Flow const & flow ) const;

   Corestore::EntityManager & em_;
   /** What has changed and is not told yet. */
   std::set< Flow > flows_;
   std::set< Flow > routedFlows_;
   std::set< std::string > rules_;
   /** The rules that the hardware has refused. */
   std::set< std::string > refused_;
   Corestore::ChangeObserver observer_;
};

}  // namespace Program
