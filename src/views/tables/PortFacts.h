#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "platform/corestore/EntityManager.h"
#include "platform/wirekit/IntfId.h"
#include "records/bridging/MacVlanPair.h"

namespace Views {

using VlanNumbers = std::set< std::uint32_t >;

/** "1-99,200"; of ports that carry many VLANs. */
std::string rangesOf( VlanNumbers const & numbers );

/** The VLANs that each port carries, as `Ports::carries` says for one. */
std::map< Wirekit::IntfId, VlanNumbers > vlansOfPorts( Corestore::EntityManager const & em );

/** Of much that is at a port the first ones, and how many there are. */
template < class What >
struct FewOf {
   std::vector< What > first = {};
   std::uint64_t count = 0;

   void add( What const & what, std::size_t most ) {
      if ( ++count <= most ) {
         first.push_back( what );
      }
   }
};

/** A host, and how it is known: "intercepted" by a flow, "offered" to the L2 RIB, or "learnt". */
struct HostThere {
   Bridging::MacVlanPair host;
   char const * how;
};

/** The hosts at each port; each stands once, in the order of `how`. */
std::map< Wirekit::IntfId, FewOf< HostThere > > hostsByPort( Corestore::EntityManager const & em,
                                                             std::size_t most );

/** The sets of service interfaces that each port is in, "web/near". */
std::map< std::string, FewOf< std::string > > setsByPort( Corestore::EntityManager const & em,
                                                          std::size_t most );

/** The ports that there are, those of sets of service interfaces included. */
std::set< Wirekit::IntfId > portsOf( Corestore::EntityManager const & em );

}  // namespace Views
