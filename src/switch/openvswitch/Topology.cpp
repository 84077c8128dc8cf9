#include "switch/openvswitch/Topology.h"

namespace OpenVSwitch {

std::optional< PortNumber > Topology::numberOf( Wirekit::IntfId intf ) const {
   if ( auto const port = ports.find( intf ); port != ports.end() ) {
      return port->second.number;
   }
   return tunnel && tunnel->intf == intf ? std::optional( tunnel->number ) : std::nullopt;
}

Wirekit::IntfId Topology::intfOf( PortNumber number ) const {
   for ( auto const & [intf, port] : ports ) {
      if ( port.number == number ) {
         return intf;
      }
   }
   return tunnel && tunnel->number == number ? tunnel->intf : Wirekit::IntfId();
}

std::set< std::uint16_t > Topology::vlans() const {
   std::set< std::uint16_t > all;
   for ( auto const & [intf, port] : ports ) {
      all.insert( port.vlans.begin(), port.vlans.end() );
   }
   if ( tunnel ) {
      for ( auto const & [vlan, vni] : vnis ) {
         all.insert( vlan );
      }
   }
   return all;
}

}  // namespace OpenVSwitch
