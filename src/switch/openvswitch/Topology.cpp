#include "switch/openvswitch/Topology.h"

#include <utility>

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

std::set< Wirekit::IntfId > changedPorts( Topology const & before, Topology const & now ) {
   std::set< Wirekit::IntfId > changed;
   for ( auto const & [one, other] : { std::pair( &before, &now ), std::pair( &now, &before ) } ) {
      for ( auto const & [intf, port] : one->ports ) {
         auto const found = other->ports.find( intf );
         if ( found == other->ports.end() || found->second != port ) {
            changed.insert( intf );
         }
      }
   }
   return changed;
}

std::set< std::uint16_t > changedFloods( Topology const & before, Topology const & now ) {
   std::set< std::uint16_t > changed;
   for ( Topology const * const topology : { &before, &now } ) {
      for ( Wirekit::IntfId const & intf : changedPorts( before, now ) ) {
         if ( auto const port = topology->ports.find( intf ); port != topology->ports.end() ) {
            changed.insert( port->second.vlans.begin(), port->second.vlans.end() );
         }
      }
      for ( auto const & [vlan, known] : topology->endPoints ) {
         Topology const & other = topology == &before ? now : before;
         auto const found = other.endPoints.find( vlan );
         if ( before.tunnel != now.tunnel || found == other.endPoints.end() ||
              found->second != known ) {
            changed.insert( vlan );
         }
      }
   }
   return changed;
}

}  // namespace OpenVSwitch
