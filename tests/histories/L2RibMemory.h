#pragma once

#include <map>
#include <set>
#include <string>

#include "histories/Complaints.h"
#include "scenario/Scenario.h"

namespace Histories {

/**
 * What is offered to the L2 RIB, and which rows stand there otherwise than an agent that starts
 * would offer them:
 *
 * - A row that was damaged, one of the router's MAC that a start has swept, and one whose VLAN has
 *   had several sets, at once or one after the other, since whoever leaves it takes all rows back:
 *   nobody offers them again before its own inputs change.
 * - A host that was learnt here when the controller named it, so that it was held back: nobody
 * looks again when it isn't any more.
 * - A host that the controller has named another end point for, or none, or that was offered before
 *   it was learnt here: its row stays.
 * - A host's move count: the greatest stays.
 */
class L2RibMemory {
 public:
   /** To be told of every step. */
   void observe( Scenarios::Switch const & device, Scenarios::Step const & step );
   /** The VLANs that a VNI has or has had: a row that nobody is told to take back stays when the
    * VNI loses its VLAN. */
   std::set< std::string > vlansOf( std::string const & vni ) const;
   /** With the rows of a switch that was given the last inputs at once, but for some VLANs. */
   void compare( Complaints & complaints, Scenarios::Switch const & fresh,
                 std::set< std::string > const & leftOutVlans ) const;

 private:
   struct Row {
      /** Preference and interface. */
      std::string offer;
      std::uint32_t moveCount = 0;
   };
   using Rows = std::map< std::string, Row >;

   static Rows rowsOf( Scenarios::Switch const & device );
   enum class Offer { none, heldBack, due };
   static Offer offerOf( Scenarios::Switch const & device, std::string const & key );
   void rememberSets( Scenarios::Switch const & device );

   Rows rows_;
   std::map< std::string, std::set< std::string > > vlansByVni_;
   /** The sets of each VLAN now, and the VLANs that have had several. */
   std::map< std::string, std::set< std::string > > sets_;
   std::set< std::string > contested_;
   std::set< std::string > lost_;
   /** Hosts that were held back and have not been offered since. */
   std::set< std::string > heldBack_;
   /** Rows of hosts that nobody would offer now. */
   std::set< std::string > outdated_;
   /** MACs whose forwarding row has been damaged. */
   std::set< std::string > forgotten_;
};

}  // namespace Histories
