#include "switch/openvswitch/Switchports.h"

#include <algorithm>

namespace OpenVSwitch {

namespace {

/** The numbers that the database takes and that are no VLANs. */
void eraseNoVlans( std::set< std::uint16_t > & vlans ) {
   vlans.erase( 0 );
   vlans.erase( 4095 );
}

}  // namespace

std::set< std::uint16_t > existingVlans( BridgePorts const & ports ) {
   std::set< std::uint16_t > existing{ 1 };
   for ( auto const & [name, port] : ports ) {
      existing.insert( port.trunks.begin(), port.trunks.end() );
      existing.insert( nativeVlan( port ) );
   }
   eraseNoVlans( existing );
   return existing;
}

std::uint16_t nativeVlan( Ovsdb::BridgePort const & port ) {
   // A trunk has no use for a tag, and the database's VLAN 0 is none.
   constexpr std::uint16_t highest = 4094;
   std::uint16_t const tag = port.tag.value_or( 0 );
   return port.vlanMode == "trunk" || tag == 0 || tag > highest ? 1 : tag;
}

std::set< std::uint16_t > configuredVlans( Ovsdb::BridgePort const & port,
                                           std::set< std::uint16_t > const & existing ) {
   bool const isAccess =
      port.vlanMode == "access" || ( port.vlanMode.empty() && port.tag && port.trunks.empty() );
   if ( isAccess ) {
      return { nativeVlan( port ) };
   }
   std::set< std::uint16_t > vlans = port.trunks.empty() ? existing : port.trunks;
   if ( port.vlanMode != "trunk" && port.tag ) {
      vlans.insert( nativeVlan( port ) );
   }
   eraseNoVlans( vlans );
   return vlans;
}

bool isBond( Ovsdb::BridgePort const & port ) {
   return port.interfaces.size() > 1;
}

bool isSwitchport( Ovsdb::BridgePort const & port, std::string const & bridge ) {
   return port.name != bridge && !isBond( port ) &&
          std::ranges::none_of( port.interfaces, []( Ovsdb::BridgeInterface const & intf ) {
             return intf.type == "vxlan";
          } );
}

void publishSwitchports( BridgePorts const & ports, std::string const & bridge,
                         Bridging::Config & config,
                         Bridging::SwitchIntfConfigDir & switchIntfConfigDir ) {
   std::map< std::uint16_t, std::set< Wirekit::IntfId > > members;
   std::map< Wirekit::IntfId, std::uint16_t > natives;
   auto const existing = existingVlans( ports );
   for ( auto const & [name, port] : ports ) {
      if ( isSwitchport( port, bridge ) ) {
         Wirekit::IntfId const intf( name );
         natives[intf] = nativeVlan( port );
         for ( std::uint16_t const vlan : configuredVlans( port, existing ) ) {
            members[vlan].insert( intf );
         }
      }
   }
   for ( auto const & [intf, native] : natives ) {
      switchIntfConfigDir.switchIntfConfigIs( intf )->trunkNativeVlanIs(
         Bridging::VlanId( native ) );
   }
   for ( Wirekit::IntfId const & intf : switchIntfConfigDir.switchIntfConfigKeys() ) {
      if ( !natives.contains( intf ) ) {
         switchIntfConfigDir.switchIntfConfigDel( intf );
      }
   }
   for ( auto const & [vlan, intfs] : members ) {
      auto const row = config.vlanConfigIs( Bridging::VlanId( vlan ) );
      for ( Wirekit::IntfId const intf : intfs ) {
         row->intfIs( intf, true );
      }
      for ( Wirekit::IntfId const & intf : row->intfKeys() ) {
         if ( !intfs.contains( intf ) ) {
            row->intfDel( intf );
         }
      }
   }
   for ( Bridging::VlanId const & vlan : config.vlanConfigKeys() ) {
      if ( !members.contains( vlan.value() ) ) {
         config.vlanConfigDel( vlan );
      }
   }
}

}  // namespace OpenVSwitch
