#include "switch/openvswitch/RemoteHostsSm.h"

#include <charconv>
#include <vector>

#include "switch/openvswitch/HostFlows.h"

KEL_MACHINE_TYPE( OpenVSwitch::RemoteHostsSm )
KEL_MACHINE_TYPE( OpenVSwitch::VniHostsSm )

namespace OpenVSwitch {

using VxlanController::VniFdbStatusV2;

namespace {

/** Zero for a name that is none. */
std::uint32_t vniOf( std::string_view text ) {
   std::uint32_t vni = 0;
   std::from_chars( text.data(), text.data() + text.size(), vni );
   return vni;
}

}  // namespace

// --- What the controller says ---

void RemoteHostsSm::createNestedReactors() {
   for ( auto const & [name, entity] : vniBaseDir()->entity() ) {
      vniHostsSmIs( Kel::ptrCast< VniFdbStatusV2 const >( entity ) );
   }
}

void RemoteHostsSm::handleInitialized() {
   bridge()->follow( [this]( Topology const & before ) {
      Topology const & now = bridge()->topology();
      if ( before.vnis != now.vnis || before.tunnel != now.tunnel ||
           before.ownEndPoint != now.ownEndPoint ) {
         // Hosts that had no flows may have some now; with another address others are remote.
         for ( auto const & [vni, hosts] : vniHostsSm() ) {
            for ( Wirekit::EthAddr const & mac : hosts->vniFdbStatus()->macVtepTableKeys() ) {
               look( vni, mac );
            }
         }
      }
   } );
}

void RemoteHostsSm::handleVni( Kel::Name const & vni ) {
   if ( auto const entity = vniBaseDir()->entity( vni ) ) {
      vniHostsSmIs( Kel::ptrCast< VniFdbStatusV2 const >( entity ) );
      vniHostsSm( vni )->handleMacVtepTable();
      return;
   }
   vniHostsSmDel( vni );
   std::vector< Wirekit::EthAddr > gone;
   for ( auto at = places_.lower_bound( { vni, {} } );
         at != places_.end() && at->first.first == vni; ++at ) {
      gone.push_back( at->first.second );
   }
   for ( Wirekit::EthAddr const & mac : gone ) {
      hostChanged( vni, mac );
   }
}

void VniHostsSm::handleMacVtepTable( Wirekit::EthAddr const & mac ) {
   owner()->hostChanged( vniFdbStatus()->name(), mac );
}

void VniHostsSm::handleMacVtepTable() {
   for ( Wirekit::EthAddr const & mac : vniFdbStatus()->macVtepTableKeys() ) {
      handleMacVtepTable( mac );
   }
}

Wirekit::Ip4Addr RemoteHostsSm::endPointOf( Kel::Name const & vni,
                                            Wirekit::EthAddr const & mac ) const {
   auto const table = Kel::ptrCast< VniFdbStatusV2 const >( vniBaseDir()->entity( vni ) );
   if ( !table || !table->macVtepTableHas( mac ) ) {
      return {};
   }
   Wirekit::Ip4Addr const endPoint = table->macVtepTable( mac ).vtepAddr;
   return endPoint == bridge()->topology().ownEndPoint ? Wirekit::Ip4Addr() : endPoint;
}

Wirekit::Ip4Addr RemoteHostsSm::look( Kel::Name const & vni, Wirekit::EthAddr const & mac ) {
   Wirekit::Ip4Addr const endPoint = endPointOf( vni, mac );
   Wirekit::Ip4Addr & place = places_[{ vni, mac }];
   if ( place != endPoint ) {
      std::uint32_t const number = vniOf( vni.view() );
      count( number, place, -1 );
      count( number, endPoint, 1 );
      place = endPoint;
   }
   bridge()->book().changed( *this, Kel::String::concat( { vni.view(), " ", mac.stringValue() } ) );
   if ( endPoint.isZero() ) {
      places_.erase( { vni, mac } );
   }
   return endPoint;
}

void RemoteHostsSm::hostChanged( Kel::Name const & vni, Wirekit::EthAddr const & mac ) {
   if ( look( vni, mac ).isZero() ) {
      return;
   }
   for ( auto const & [vlan, mapped] : bridge()->topology().vnis ) {
      if ( mapped == vniOf( vni.view() ) ) {
         bridge()->forgetLearnt( { mac, Bridging::VlanId( vlan ) } );
      }
   }
}

void RemoteHostsSm::count( std::uint32_t vni, Wirekit::Ip4Addr endPoint, int by ) {
   if ( endPoint.isZero() ) {
      return;
   }
   int & hosts = hosts_[{ vni, endPoint }];
   hosts += by;
   bridge()->endPointIs( vni, endPoint, hosts > 0 );
   if ( hosts == 0 ) {
      hosts_.erase( { vni, endPoint } );
   }
}

// --- Its flows ---

WantedFlows RemoteHostsSm::flows( Kel::String const & key ) {
   std::string_view const text = key.view();
   std::size_t const space = text.find( ' ' );
   Kel::Name const vni( text.substr( 0, space ) );
   Wirekit::EthAddr const mac =
      Wirekit::EthAddr::parse( text.substr( space + 1 ) ).value_or( Wirekit::EthAddr() );
   Wirekit::Ip4Addr const endPoint = endPointOf( vni, mac );
   Topology const & topology = bridge()->topology();
   WantedFlows wanted;
   if ( endPoint.isZero() ) {
      return wanted;
   }
   if ( !topology.tunnel ) {
      wanted.refused = { OpenFlowTable::FlowStatus::refused6, "there is no tunnel" };
      return wanted;
   }
   for ( auto const & [vlan, mapped] : topology.vnis ) {
      if ( mapped == vniOf( vni.view() ) ) {
         wanted.flows.push_back( remoteHostFlow( { mac, Bridging::VlanId( vlan ) }, endPoint,
                                                 topology.tunnel->number ) );
      }
   }
   if ( wanted.flows.empty() ) {
      wanted.refused = { OpenFlowTable::FlowStatus::refused7, "its VNI has no VLAN" };
   }
   return wanted;
}

void RemoteHostsSm::answered( Kel::String const & key, Answer const & answer ) {
   bridge()->logRefused( "remote host", key, answer );
}

}  // namespace OpenVSwitch
