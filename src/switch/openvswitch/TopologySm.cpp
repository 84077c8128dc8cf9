#include "switch/openvswitch/TopologySm.h"

#include <charconv>

#include "switch/openvswitch/PortFlows.h"
#include "switch/openvswitch/Switchports.h"

KEL_MACHINE_TYPE( OpenVSwitch::TopologySm )
KEL_MACHINE_TYPE( OpenVSwitch::TrunkGroupSm )
KEL_MACHINE_TYPE( OpenVSwitch::VtiStatusSm )

namespace OpenVSwitch {

namespace {

/** One that sends to whomever each flow says; others are no business of the agent. */
bool isTunnel( Ovsdb::BridgeInterface const & intf ) {
   auto const isOfFlows = [&]( char const * option ) {
      auto const found = intf.options.find( option );
      return found != intf.options.end() && found->second == "flow";
   };
   return intf.type == "vxlan" && isOfFlows( "remote_ip" ) && isOfFlows( "key" );
}

constexpr std::string_view framesPrefix = "frames of table ";
constexpr std::string_view tunnelKey = "tunnel";
constexpr std::string_view portPrefix = "port ";
constexpr std::string_view vlanPrefix = "vlan ";

Kel::String portKey( Wirekit::IntfId intf ) {
   return Kel::String::concat( { portPrefix, intf.name() } );
}

Kel::String vlanKey( std::uint16_t vlan ) {
   return Kel::String::concat( { vlanPrefix, std::to_string( vlan ) } );
}

/** The VLANs of a list "100,200". */
void addListed( std::set< std::uint16_t > & vlans, std::string_view list ) {
   char const * at = list.data();
   char const * const end = at + list.size();
   while ( at != end ) {
      std::uint16_t vlan = 0;
      auto const [next, error] = std::from_chars( at, end, vlan );
      if ( error == std::errc{} ) {
         vlans.insert( vlan );
      }
      at = next == at ? at + 1 : next;
   }
}

}  // namespace

// --- What it watches ---

void TopologySm::createNestedReactors() {
   for ( auto const & [name, group] : dynAllowedVlans()->trunkGroup() ) {
      trunkGroupSmIs( group );
   }
   for ( auto const & [intf, status] : vtiStatusDir()->vtiStatus() ) {
      vtiStatusSmIs( status );
   }
}

void TopologySm::handleInitialized() {
   bridge()->endPointsChangedIs( [this] { composeSoon(); } );
   // Table by table: what one has lost is no matter to another, which may be full.
   for ( OpenFlow::Flow const & flow : frameFlows( bridge()->ageing() ) ) {
      bridge()->book().changed(
         *this, Kel::String::concat( { framesPrefix, std::to_string( flow.table ) } ) );
   }
   composeSoon();
}

void TopologySm::handleVlans() {
   composeSoon();
}

void TopologySm::handleTrunkGroup( Kel::Name const & name ) {
   if ( auto const group = dynAllowedVlans()->trunkGroup( name ) ) {
      trunkGroupSmIs( group );
   } else {
      trunkGroupSmDel( name );
   }
   composeSoon();
}

void TopologySm::handleVtiStatus( Wirekit::IntfId const & intf ) {
   if ( auto const status = vtiStatusDir()->vtiStatus( intf ) ) {
      vtiStatusSmIs( status );
   } else {
      vtiStatusSmDel( intf );
   }
   composeSoon();
}

void TrunkGroupSm::handleIntfList() {
   owner()->composeSoon();
}

void VtiStatusSm::handleVlanToVniMap() {
   owner()->composeSoon();
}

void VtiStatusSm::handleAddr() {
   owner()->composeSoon();
}

void TopologySm::portsAre( BridgePorts ports, std::string const & bridgeName ) {
   ports_ = std::move( ports );
   bridgeName_ = bridgeName;
   composeSoon();
}

// --- How it is put together ---

void TopologySm::composeSoon() {
   if ( !composing_ ) {
      composing_ = true;
      scheduler()->post( [self = Kel::Ptr< TopologySm >( this )] {
         self->composing_ = false;
         self->compose();
      } );
   }
}

void TopologySm::compose() {
   Topology next;
   auto const existing = existingVlans( ports_ );
   Wirekit::IntfId tunnel;
   for ( auto const & [intf, status] : vtiStatusDir()->vtiStatus() ) {
      tunnel = intf;
      next.ownEndPoint = status->addr();
      for ( auto const & [vlan, mapped] : status->vlanToVniMap() ) {
         next.vnis[vlan.value()] = mapped.vni.value();
         if ( auto const known = bridge()->endPoints().find( mapped.vni.value() );
              known != bridge()->endPoints().end() ) {
            next.endPoints[vlan.value()] = known->second;
         }
      }
   }
   for ( auto const & [name, port] : ports_ ) {
      for ( Ovsdb::BridgeInterface const & intf : port.interfaces ) {
         if ( !intf.ofport ) {
            continue;
         }
         if ( isTunnel( intf ) ) {
            next.tunnel = Tunnel{ tunnel ? tunnel : Wirekit::IntfId( name ), *intf.ofport };
         } else if ( isSwitchport( port, bridgeName_ ) ) {
            next.ports[Wirekit::IntfId( name )] = portOf( port, *intf.ofport, existing );
         }
      }
   }

   Topology const before = bridge()->topology();
   bridge()->topologyIs( next );
   FlowBook & book = bridge()->book();
   if ( before.tunnel != next.tunnel || before.vnis != next.vnis ) {
      book.changed( *this, Kel::String( tunnelKey ) );
   }
   for ( Wirekit::IntfId const & intf : changedPorts( before, next ) ) {
      book.changed( *this, portKey( intf ) );
   }
   for ( std::uint16_t const vlan : changedFloods( before, next ) ) {
      book.changed( *this, vlanKey( vlan ) );
   }
}

Port TopologySm::portOf( Ovsdb::BridgePort const & configured, std::uint32_t number,
                         std::set< std::uint16_t > const & existing ) const {
   Wirekit::IntfId const intf( configured.name );
   Port port{ .number = number,
              .nativeVlan = OpenVSwitch::nativeVlan( configured ),
              .vlans = configuredVlans( configured, existing ) };
   if ( dynAllowedVlans()->vlansHas( intf ) ) {
      addListed( port.vlans, dynAllowedVlans()->vlans( intf ) );
      return port;
   }
   // A member without a list of its own carries whatever was given for the agent: the MLAG peer.
   auto const group = dynAllowedVlans()->trunkGroup( "qor" );
   if ( group && group->intfListHas( intf ) ) {
      for ( auto const & [name, status] : vtiStatusDir()->vtiStatus() ) {
         for ( auto const & [vlan, mapped] : status->vlanToVniMap() ) {
            if ( mapped.source == Vxlan::VniSource::qor ) {
               port.vlans.insert( vlan.value() );
            }
         }
      }
   }
   return port;
}

// --- Its flows ---

Rank TopologySm::rank( Kel::String const & key ) const {
   return key.view().starts_with( framesPrefix ) ? Rank::foundation : Rank::entrance;
}

WantedFlows TopologySm::flows( Kel::String const & key ) {
   Topology const & topology = bridge()->topology();
   std::string_view const text = key.view();
   if ( text.starts_with( framesPrefix ) ) {
      WantedFlows wanted{ .flows = frameFlows( bridge()->ageing() ) };
      std::erase_if( wanted.flows, [&]( OpenFlow::Flow const & flow ) {
         return std::to_string( flow.table ) != text.substr( framesPrefix.size() );
      } );
      return wanted;
   }
   if ( text == tunnelKey ) {
      return { .flows = tunnelFlows( topology ) };
   }
   if ( text.starts_with( portPrefix ) ) {
      auto const port = topology.ports.find( Wirekit::IntfId( text.substr( portPrefix.size() ) ) );
      return port == topology.ports.end() ? WantedFlows{}
                                          : WantedFlows{ .flows = portFlows( port->second ) };
   }
   std::set< std::uint16_t > vlan;
   addListed( vlan, text.substr( vlanPrefix.size() ) );
   return { .flows = floodFlows( topology, *vlan.begin() ) };
}

void TopologySm::answered( Kel::String const & key, Answer const & answer ) {
   if ( answer.status != OpenFlowTable::FlowStatus::active ) {
      bridge()->warn( "step " + key.stringValue() + " is refused: " + answer.reason );
   }
}

void TopologySm::removed( Kel::String const & ) {}

}  // namespace OpenVSwitch
