#include "switch/openvswitch/Bridge.h"

#include <utility>

#include "switch/openvswitch/HostFlows.h"

namespace OpenVSwitch {

void Bridge::topologyIs( Topology topology ) {
   if ( topology == topology_ ) {
      return;
   }
   std::swap( topology, topology_ );
   for ( auto const & changed : followers_ ) {
      changed( topology );
   }
}

void Bridge::forgetLearnt( Bridging::MacVlanPair const & host ) {
   if ( connection_.isUp() ) {
      connection_.program(
         { { OpenFlow::FlowChange::Kind::deleteStrict, learntHostFlow( host, 0, ageing_ ) } },
         []( auto const & ) {} );
      if ( forgotten_ ) {
         forgotten_( host );
      }
   }
}

void Bridge::learn( Bridging::MacVlanPair const & host, PortNumber port ) {
   connection_.program(
      { { OpenFlow::FlowChange::Kind::add, learntHostFlow( host, port, ageing_ ) } },
      []( auto const & ) {} );
}

void Bridge::logRefused( char const * what, Kel::String const & key,
                         Answer const & answer ) const {
   using OpenFlowTable::FlowStatus;
   if ( answer.status == FlowStatus::tableFull || answer.status == FlowStatus::refused10 ) {
      log_( std::string( what ) + " " + key.stringValue() + " is refused: " + answer.reason );
   }
}

void Bridge::endPointIs( std::uint32_t vni, Wirekit::Ip4Addr endPoint, bool isKnown ) {
   auto & known = endPoints_[vni];
   bool const changed = isKnown ? known.insert( endPoint ).second : known.erase( endPoint ) != 0;
   if ( known.empty() ) {
      endPoints_.erase( vni );
   }
   if ( changed && endPointsChanged_ ) {
      endPointsChanged_();
   }
}

}  // namespace OpenVSwitch
