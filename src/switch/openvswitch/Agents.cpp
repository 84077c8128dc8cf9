#include "switch/openvswitch/Agents.h"

#include <algorithm>
#include <initializer_list>
#include <utility>
#include <vector>

#include "qorclient/flowtable/PlatformConfig.h"
#include "records/catalog/Catalog.h"
#include "switch/openvswitch/Tables.h"

namespace OpenVSwitch {

namespace {

using Places = std::vector< std::string_view >;

Places placesOf( std::initializer_list< char const * > inputs ) {
   Places places;
   for ( char const * input : inputs ) {
      places.push_back( Catalog::pathOf( input ) );
   }
   return places;
}

/** What they write, as the agent names its inputs. */
Places const & outputs() {
   static Places const places =
      placesOf( { "vtiStatusDir", "pfHwStatus", "pfHwStatusL3", "bridgingConfig",
                  "switchIntfConfigDir", "slabBridgingStatus", "platformTableSupport" } );
   return places;
}

/** What they read beside that. */
Places const & inputs() {
   static Places const places =
      placesOf( { "pfHwConfig", "pfHwConfigL3", "fhrpGlideMacStatus", "vniSviConfig",
                  "dynAllowedVlans", "l2RibQorHostInput", "nimbusVniBaseDir" } );
   return places;
}

bool isBelow( std::string_view rowPath, Places const & places ) {
   return std::ranges::any_of( places, [rowPath]( std::string_view place ) {
      return rowPath.starts_with( place ) &&
             ( rowPath.size() == place.size() || rowPath[place.size()] == '/' );
   } );
}

/** After a change by others: more may follow. */
constexpr Orb::Seconds restBeforeReading = 0.05;

constexpr char const * tunnelPort = "vxlan-qor";

template < class T >
Kel::Ptr< T > entityOf( Corestore::EntityManager const & em, char const * input ) {
   return Kel::ptrCast< T >( em.standing( Catalog::pathOf( input ) ) );
}

}  // namespace

Agents::Agents( Corestore::EntityManager & em, Settings const & settings, Bridge::Log log )
   : em_( em ), settings_( settings ) {
   Kel::Ptr< Orb::TaskScheduler > const scheduler( &em.scheduler() );
   connection_.emplace(
      scheduler, settings.runFolder + "/" + settings.bridge + ".mgmt",
      OpenFlow::Connection::Events{
         .up = [this] { bridgeUp(); },
         .down =
            [this]( std::string const & reason ) {
               isFollowed_ = false;
               bridge_->lost();
               bridge_->warn( "bridge " + settings_.bridge + " is not there: " + reason );
            },
         // The database tells of ports.
         .portChanged = []( OpenFlow::PortChange, OpenFlow::Port const & ) {},
         .flowChanged = [this]( OpenFlow::FlowUpdate const & update ) { flowChanged( update ); },
         .changesMissed = [this] { readSoon(); } } );
   bridge_ = new Bridge( scheduler, *connection_, settings.ageing, std::move( log ) );
   // The tunnel interface may come after its port, and be written by others without its address.
   bridge_->follow( [this]( Topology const & ) {
      if ( bridge_->topology().ownEndPoint != settings_.vtep ) {
         tellEndPoint();
      }
   } );

   auto const hwConfig = [&]( char const * input ) {
      return Kel::Ptr< OpenFlowTable::PinFlowHwConfig const >(
         entityOf< OpenFlowTable::PinFlowHwConfig >( em, input ) );
   };
   auto const hwStatus = [&]( char const * input ) {
      auto status = entityOf< OpenFlowTable::HwStatus >( em, input );
      status->supportedIs( true );
      return status;
   };
   auto const router =
      entityOf< Routing::Fhrp::VirtualRouterMacStatus >( em, "fhrpGlideMacStatus" );
   auto const vtis = entityOf< Vxlan::VtiStatusDir >( em, "vtiStatusDir" );
   entityOf< OpenFlowTable::PlatformTableSupport >( em, "platformTableSupport" )
      ->groupTableIs( 0, true );

   if ( settings.vtep ) {
      if ( vtis->vtiStatusCount() == 0 ) {
         vtis->vtiStatusIs( Wirekit::IntfId( "Vxlan1" ) );
      }
   }
   tellEndPoint();
   topology_ =
      topologySmFactory( entityOf< Bridging::Input::AllowedVlans >( em, "dynAllowedVlans" ), vtis,
                         scheduler, bridge_ );
   rules_ = rulesSmFactory( hwConfig( "pfHwConfig" ), hwStatus( "pfHwStatus" ), router, bridge_ );
   groups_ =
      groupsSmFactory( hwConfig( "pfHwConfigL3" ), hwStatus( "pfHwStatusL3" ), router, bridge_ );
   routedRules_ =
      rulesSmFactory( hwConfig( "pfHwConfigL3" ), hwStatus( "pfHwStatusL3" ), router, bridge_ );
   offeredHosts_ =
      offeredHostsSmFactory( entityOf< L2Rib::HostInput >( em, "l2RibQorHostInput" ), bridge_ );
   remoteHosts_ = remoteHostsSmFactory( entityOf< Kel::Dir >( em, "nimbusVniBaseDir" ), bridge_ );
   learntHosts_.emplace( entityOf< Slab::Bridging::Status >( em, "slabBridgingStatus" ), bridge_ );
   learntNexthops_.emplace( bridge_ );

   database_.emplace( scheduler, settings.runFolder + "/db.sock", settings.bridge,
                      Ovsdb::Client::Listener{
                         .up = [this] { databaseChanged(); },
                         .changed = [this] { databaseChanged(); },
                         .lost =
                            [this]( std::string const & reason ) {
                               isTunnelAsked_ = false;
                               bridge_->warn( "the switch's database is not there: " + reason );
                            } } );
}

Agents::~Agents() {
   em_.scheduler().disarm( *this );
}

bool Agents::owns( std::string_view rowPath ) {
   return isBelow( rowPath, outputs() );
}

bool Agents::follows( std::string_view rowPath ) {
   return owns( rowPath ) || isBelow( rowPath, inputs() );
}

// --- The switch's database ---

void Agents::databaseChanged() {
   Ovsdb::Bridge const & bridge = database_->bridge();
   if ( !bridge.exists ) {
      if ( !std::exchange( isTold_, true ) ) {
         bridge_->warn( "the switch has no bridge " + settings_.bridge );
      }
      // The next one of that name has others.
      hasPorts_ = false;
      return;
   }
   isTold_ = false;
   tellOddities( bridge );
   if ( settings_.vtep && !std::exchange( isTunnelAsked_, true ) ) {
      database_->ensureTunnel( tunnelPort, settings_.vtep->stringValue(),
                               [this]( std::string const & error, Ovsdb::Json const & ) {
                                  isTunnelAsked_ = false;
                                  if ( !error.empty() ) {
                                     bridge_->warn( "the switch refuses the tunnel: " + error );
                                  }
                               } );
   }
   tellEndPoint();
   publishSwitchports( bridge.ports, settings_.bridge,
                       *entityOf< Bridging::Config >( em_, "bridgingConfig" ),
                       *entityOf< Bridging::SwitchIntfConfigDir >( em_, "switchIntfConfigDir" ) );
   topology_->portsAre( bridge.ports, settings_.bridge );
   if ( !vlanGiver_ ) {
      // Not before it is known which VLANs are configured.
      vlanGiver_ = VxlanAgent::vlanGiverSmFactory(
         entityOf< Vxlan::VniSviConfig >( em_, "vniSviConfig" ),
         entityOf< Vxlan::VtiStatusDir >( em_, "vtiStatusDir" ),
         Kel::Ptr< Orb::DelayedWork >(
            new Orb::DelayedWork( Kel::Ptr< Orb::TaskScheduler >( &em_.scheduler() ), 0 ) ),
         settings_.vlanPool,
         [config = entityOf< Bridging::Config >( em_, "bridgingConfig" )]( Bridging::VlanId vlan ) {
            return config->vlanConfigHas( vlan );
         } );
   }
   em_.scheduler().post( [this] {
      hasPorts_ = true;
      bridgeUp();
   } );
   // A table may have another limit, of which the bridge may hear later than this.
   if ( bridge_->book().waitsForRoom() ) {
      readSoon();
   }
   bridge_->book().retryRefused();
}

void Agents::tellOddities( Ovsdb::Bridge const & bridge ) {
   std::set< std::string > oddities;
   if ( bridge.failMode != "secure" ) {
      oddities.insert( "bridge " + settings_.bridge +
                       " is not set to fail_mode=secure: frames pass while nobody has set flows" );
   }
   for ( auto const & [name, port] : bridge.ports ) {
      if ( isBond( port ) ) {
         oddities.insert( "port " + name + " is a bond, which is left alone" );
      }
      for ( Ovsdb::BridgeInterface const & intf : port.interfaces ) {
         if ( !intf.error.empty() ) {
            oddities.insert( "the switch does not have " + intf.name + ": " + intf.error );
         }
      }
   }
   for ( std::string const & oddity : oddities ) {
      if ( !oddities_.contains( oddity ) ) {
         bridge_->warn( oddity );
      }
   }
   oddities_ = std::move( oddities );
}

void Agents::tellEndPoint() {
   if ( settings_.vtep ) {
      auto const vtis = entityOf< Vxlan::VtiStatusDir >( em_, "vtiStatusDir" );
      for ( auto const & [intf, status] : vtis->vtiStatus() ) {
         status->addrIs( *settings_.vtep );
      }
   }
}

// --- The bridge ---

void Agents::bridgeUp() {
   // Ports first: where hosts are is told by their numbers.
   if ( !hasPorts_ || !connection_->isUp() || isFollowed_ ) {
      return;
   }
   isFollowed_ = true;
   bridge_->sendLearnt();
   bridge_->book().beginReading();
   learntHosts_->beginReading();
   learntNexthops_->beginReading();
   connection_->monitorFlows( { OpenFlow::allTables }, [this] {
      bool const hasBegunAnew = !bridge_->book().compare();
      learntHosts_->endReading( hasBegunAnew );
      learntNexthops_->endReading( hasBegunAnew );
      bridge_->log( "bridge " + settings_.bridge + " is followed" );
   } );
}

void Agents::flowChanged( OpenFlow::FlowUpdate const & update ) {
   using Event = OpenFlow::FlowUpdate::Event;
   bool const isLearnt = Cookie::isLearnt( update.flow.table, update.flow.cookie );
   if ( update.event == Event::initial ) {
      bridge_->book().found( update.flow );
      if ( isLearnt ) {
         learntHosts_->changed( update );
         learntNexthops_->changed( update );
      }
      return;
   }
   learntHosts_->changed( update );
   learntNexthops_->changed( update );
   if ( !Bridge::isAnothers( update ) ) {
      return;
   }
   // What was missed may be changes of our own.
   if ( !update.wasMissed ) {
      bridge_->warn( std::string( "another hand has " ) +
                     ( update.event == Event::added     ? "added"
                       : update.event == Event::removed ? "removed"
                                                        : "changed" ) +
                     " a flow of bridge " + settings_.bridge + ", " +
                     bridge_->book().nameOf( update.flow ) + ": " + update.flow.match.text() );
   }
   if ( !isLearnt ) {
      readSoon();
   }
}

void Agents::readSoon() {
   if ( !std::exchange( isReadDue_, true ) ) {
      em_.scheduler().arm( *this, em_.scheduler().now() + restBeforeReading );
   }
}

void Agents::due() {
   isReadDue_ = false;
   if ( connection_->isUp() ) {
      bridge_->book().reconcile();
   }
}

}  // namespace OpenVSwitch
