#include "views/packet/Ports.h"

#include <algorithm>
#include <string_view>

#include "records/catalog/Catalog.h"

namespace Views {

namespace {

/** Whether a list of numbers, joined by commas, has that one. */
bool names( std::string_view list, std::string_view number ) {
   for ( std::size_t begin = 0; begin <= list.size(); ) {
      std::size_t const end = std::min( list.find( ',', begin ), list.size() );
      if ( list.substr( begin, end - begin ) == number ) {
         return true;
      }
      begin = end + 1;
   }
   return false;
}

}  // namespace

std::string pathOfKey( std::string const & path, char const * attribute, std::string_view key ) {
   return path + "/" + attribute + Kel::pointerStep( key );
}

Ports::Ports( Corestore::EntityManager const & em )
   : configured_(
        em.entity< Bridging::SwitchIntfConfigDir >( Catalog::pathOf( "switchIntfConfigDir" ) ) ),
     bridging_( em.entity< Bridging::Config >( Catalog::pathOf( "bridgingConfig" ) ) ),
     allowed_( em.entity< Bridging::Input::AllowedVlans >( Catalog::pathOf( "dynAllowedVlans" ) ) ),
     tunnels_( em.entity< Vxlan::VtiStatusDir >( Catalog::pathOf( "vtiStatusDir" ) ) ) {
   for ( Wirekit::IntfId const & intf : configured_->switchIntfConfigKeys() ) {
      all_.insert( intf );
   }
   for ( auto const & vlan : bridging_->vlanConfig() ) {
      for ( Wirekit::IntfId const & intf : vlan.value->intfKeys() ) {
         all_.insert( intf );
      }
   }
   for ( Wirekit::IntfId const & tunnel : tunnels_->vtiStatusKeys() ) {
      all_.erase( tunnel );
   }
   all_.erase( Wirekit::IntfId() );
}

std::set< Wirekit::IntfId > Ports::tunnels() const {
   std::set< Wirekit::IntfId > found;
   for ( Wirekit::IntfId const & tunnel : tunnels_->vtiStatusKeys() ) {
      found.insert( tunnel );
   }
   return found;
}

bool Ports::isAsked( Bridging::VlanId vlan ) const {
   for ( auto const & tunnel : tunnels_->vtiStatus() ) {
      if ( tunnel.value->vlanToVniMapHas( vlan ) &&
           tunnel.value->vlanToVniMap( vlan ).source == Vxlan::VniSource::qor ) {
         return true;
      }
   }
   return false;
}

std::string Ports::carriedBy( Wirekit::IntfId intf, Bridging::VlanId vlan ) const {
   std::string const number = std::to_string( vlan.value() );
   auto const members = bridging_->vlanConfig( vlan );
   if ( members && members->intfHas( intf ) ) {
      return pathOfKey( pathOfKey( Catalog::pathOf( "bridgingConfig" ), "vlanConfig", number ),
                        "intf", intf.name() );
   }
   std::string const path = Catalog::pathOf( "dynAllowedVlans" );
   if ( allowed_->vlansHas( intf ) ) {
      return names( allowed_->vlans( intf ), number ) ? pathOfKey( path, "vlans", intf.name() )
                                                      : "";
   }
   // A member without a list, as the link to the peer, carries each VLAN that the agent asked for.
   auto const group = allowed_->trunkGroup( "qor" );
   return group && group->intfListHas( intf ) && isAsked( vlan )
             ? pathOfKey( path + "/trunkGroup/qor", "intfList", intf.name() )
             : "";
}

Bridging::VlanId Ports::nativeVlan( Wirekit::IntfId intf ) const {
   auto const config = configured_->switchIntfConfig( intf );
   return config ? config->trunkNativeVlan() : Bridging::VlanId();
}

std::optional< Ports::Segment > Ports::segmentOf( Bridging::VlanId vlan ) const {
   for ( auto const & tunnel : tunnels_->vtiStatus() ) {
      auto const vni = tunnel.value->vlanToVniMap( vlan ).vni;
      if ( !vni.isNone() ) {
         return Segment{ tunnel.key, vlan, vni.value(), tunnel.value->addr(),
                         pathOfKey( pathOfKey( Catalog::pathOf( "vtiStatusDir" ), "vtiStatus",
                                               tunnel.key.name() ),
                                    "vlanToVniMap", std::to_string( vlan.value() ) ) };
      }
   }
   return std::nullopt;
}

std::optional< Ports::Segment > Ports::segmentOf( Wirekit::IntfId tunnel,
                                                  std::uint32_t vni ) const {
   if ( auto const status = tunnels_->vtiStatus( tunnel ) ) {
      for ( auto const & carried : status->vlanToVniMap() ) {
         if ( carried.value.vni.value() == vni ) {
            return segmentOf( carried.key );
         }
      }
   }
   return std::nullopt;
}

}  // namespace Views
