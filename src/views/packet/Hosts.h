#pragma once

#include <optional>
#include <set>
#include <string>

#include "records/bridging/MacVlanPair.h"
#include "views/packet/Ports.h"

namespace Views {

/** Where frames to a host go. */
struct HostPlace {
   Wirekit::IntfId intf;
   /** Where it is the tunnel interface; the empty address if no end point is named. */
   Wirekit::IpAddr vtep;
   /** The place and who says so. */
   std::string words;
   /** The row that says so. */
   std::string path;
};

/** What is offered to the L2 RIB goes before what was learnt, and that before what the controller
 *  says. Nothing for a host that is not known. */
std::optional< HostPlace > hostPlace( Corestore::EntityManager const & em, Ports const & ports,
                                      Bridging::MacVlanPair const & host );

/** The other end points that the controller names for a VNI. */
std::set< Wirekit::IpAddr > endPoints( Corestore::EntityManager const & em,
                                       Ports::Segment const & segment );

}  // namespace Views
