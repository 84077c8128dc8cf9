#include "views/packet/Hosts.h"

#include "platform/kel/Dir.h"
#include "records/catalog/Catalog.h"
#include "records/l2rib/HostInput.h"
#include "records/slab/BridgingStatus.h"
#include "records/vxlancontroller/VniFdbStatusV2.h"

namespace Views {

namespace {

using Bridging::MacVlanPair;
using VxlanController::VniFdbStatusV2;

/** Null when the controller knows no host of that VNI. */
Kel::Ptr< VniFdbStatusV2 const > remoteHosts( Corestore::EntityManager const & em,
                                              Ports::Segment const & segment ) {
   auto const dir = em.entity< Kel::Dir >( Catalog::pathOf( "nimbusVniBaseDir" ) );
   return Kel::ptrCast< VniFdbStatusV2 const >( dir->entity( std::to_string( segment.vni ) ) );
}

bool isRemote( Wirekit::IpAddr vtep, Ports::Segment const & segment ) {
   return !vtep.isZero() && vtep != segment.own;
}

std::optional< HostPlace > remotePlace( Corestore::EntityManager const & em, Ports const & ports,
                                        MacVlanPair const & host ) {
   auto const segment = ports.segmentOf( host.vlanId );
   auto const hosts = segment ? remoteHosts( em, *segment ) : nullptr;
   auto const vtep = hosts ? hosts->macVtepTable( host.mac ).vtepAddr : Wirekit::IpAddr();
   if ( !segment || !isRemote( vtep, *segment ) ) {
      return std::nullopt;
   }
   std::string const path =
      Catalog::pathOf( "nimbusVniBaseDir" ) + Kel::pointerStep( std::to_string( segment->vni ) );
   return HostPlace{ segment->tunnel, vtep, vtep.stringValue() + " (controller)",
                     pathOfKey( path, "macVtepTable", host.mac.stringValue() ) };
}

/** What a table of this switch says; of a host on the tunnel only the controller knows behind which
 *  end point it is. */
std::optional< HostPlace > placeAt( Corestore::EntityManager const & em, Ports const & ports,
                                    MacVlanPair const & host, HostPlace const & place ) {
   if ( !place.intf ) {
      return std::nullopt;
   }
   auto const remote = ports.isTunnel( place.intf ) ? remotePlace( em, ports, host ) : std::nullopt;
   return remote ? remote : place;
}

std::optional< HostPlace > offeredPlace( Corestore::EntityManager const & em, Ports const & ports,
                                         MacVlanPair const & host ) {
   char const * const table = Catalog::pathOf( "l2RibQorHostInput" );
   auto const intf = em.entity< L2Rib::HostInput >( table )->host( host ).ciDest.intfId;
   return placeAt( em, ports, host,
                   { intf,
                     {},
                     intf.stringValue() + " (L2 RIB)",
                     pathOfKey( table, "host", Kel::textOf( host ) ) } );
}

std::optional< HostPlace > learntPlace( Corestore::EntityManager const & em, Ports const & ports,
                                        MacVlanPair const & host ) {
   char const * const table = Catalog::pathOf( "slabBridgingStatus" );
   auto const config = em.entity< Bridging::Config >( Catalog::pathOf( "bridgingConfig" ) );
   auto const key = config->hostKey( host.vlanId, host.mac );
   auto const intf = em.entity< Slab::Bridging::Status >( table )->fdbStatus( key ).intf;
   return placeAt( em, ports, host,
                   { intf,
                     {},
                     intf.stringValue() + " (learnt)",
                     pathOfKey( table, "fdbStatus", Kel::textOf( key ) ) } );
}

}  // namespace

std::optional< HostPlace > hostPlace( Corestore::EntityManager const & em, Ports const & ports,
                                      MacVlanPair const & host ) {
   for ( auto const & placeIn : { offeredPlace, learntPlace, remotePlace } ) {
      if ( auto place = placeIn( em, ports, host ) ) {
         return place;
      }
   }
   return std::nullopt;
}

std::set< Wirekit::IpAddr > endPoints( Corestore::EntityManager const & em,
                                       Ports::Segment const & segment ) {
   std::set< Wirekit::IpAddr > found;
   if ( auto const hosts = remoteHosts( em, segment ) ) {
      for ( auto const & host : hosts->macVtepTable() ) {
         if ( isRemote( host.value.vtepAddr, segment ) ) {
            found.insert( host.value.vtepAddr );
         }
      }
   }
   return found;
}

}  // namespace Views
