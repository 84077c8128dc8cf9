#include "switch/vxlanagent/VlanGiverSm.h"

KEL_MACHINE_TYPE( VxlanAgent::VlanGiverSm )

namespace VxlanAgent {

using Bridging::VlanId;

void VlanGiverSm::handleInitialized() {
   handleVniSviInfo();
}

void VlanGiverSm::handleVniSviInfo( Vxlan::VniExtOrNone const & vni ) {
   if ( vniSviConfig()->vniSviInfoHas( vni ) ) {
      asking_.ask( *answers(), vni, [this, vni] { give( vni ); } );
   } else {
      asking_.forget( vni );
      waiting_.erase( vni );
      answers()->soon( [this] { takeBack(); } );
   }
}

void VlanGiverSm::handleVniSviInfo() {
   takeBack();
   for ( Vxlan::VniExtOrNone const & vni : vniSviConfig()->vniSviInfoKeys() ) {
      handleVniSviInfo( vni );
   }
}

Kel::Ptr< Vxlan::VtiStatus > VlanGiverSm::vti() const {
   for ( auto const & [intf, standing] : vtiStatusDir()->vtiStatus() ) {
      return standing;
   }
   return vtiStatusDir()->vtiStatusIs( Wirekit::IntfId( "Vxlan1" ) );
}

void VlanGiverSm::give( Vxlan::VniExtOrNone vni ) {
   waiting_.erase( vni );
   if ( !vniSviConfig()->vniSviInfoHas( vni ) ) {
      return;
   }
   auto const tunnel = vti();
   for ( auto const & [vlan, mapped] : tunnel->vlanToVniMap() ) {
      if ( mapped.vni == vni ) {
         return;
      }
   }
   for ( std::uint16_t number = pool().first; number <= pool().last; ++number ) {
      if ( !tunnel->vlanToVniMapHas( VlanId( number ) ) && !isTaken()( VlanId( number ) ) ) {
         tunnel->vlanToVniMapIs( VlanId( number ), { vni, Vxlan::VniSource::qor } );
         return;
      }
   }
   waiting_.set( vni, Kel::Nothing{} );
}

void VlanGiverSm::takeBack() {
   for ( auto const & [intf, tunnel] : vtiStatusDir()->vtiStatus() ) {
      for ( auto const & [vlan, mapped] : tunnel->vlanToVniMap() ) {
         if ( pool().has( vlan ) && mapped.source == Vxlan::VniSource::qor &&
              !vniSviConfig()->vniSviInfoHas( mapped.vni ) ) {
            tunnel->vlanToVniMapDel( vlan );
         }
      }
   }
   for ( Vxlan::VniExtOrNone const & vni : Kel::keysOf( waiting_ ) ) {
      give( vni );
   }
}

}  // namespace VxlanAgent
