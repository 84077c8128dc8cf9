#pragma once

#include <cstdint>
#include <optional>
#include <set>
#include <string>

#include "platform/corestore/EntityManager.h"
#include "records/bridging/AllowedVlans.h"
#include "records/bridging/Config.h"
#include "records/bridging/SwitchIntfConfig.h"
#include "records/vxlan/VtiStatus.h"

namespace Views {

/** The ports of the switch and the VLANs that they carry, as the state has them now. */
class Ports {
 public:
   explicit Ports( Corestore::EntityManager const & em );

   /** The switchports and the members of VLANs, without the tunnel interfaces. */
   std::set< Wirekit::IntfId > const & all() const { return all_; }
   bool has( Wirekit::IntfId intf ) const { return all_.contains( intf ); }
   bool isTunnel( Wirekit::IntfId intf ) const { return tunnels_->vtiStatusHas( intf ); }
   std::set< Wirekit::IntfId > tunnels() const;

   /** The path of the row by which an interface carries a VLAN; empty if it doesn't. */
   std::string carriedBy( Wirekit::IntfId intf, Bridging::VlanId vlan ) const;
   bool carries( Wirekit::IntfId intf, Bridging::VlanId vlan ) const {
      return !carriedBy( intf, vlan ).empty();
   }
   /** The VLAN of untagged frames. */
   Bridging::VlanId nativeVlan( Wirekit::IntfId intf ) const;

   /** A VLAN on the tunnel. */
   struct Segment {
      Wirekit::IntfId tunnel;
      Bridging::VlanId vlan;
      std::uint32_t vni;
      /** The tunnel's own end point. */
      Wirekit::IpAddr own;
      /** The row that says so. */
      std::string path;
   };
   std::optional< Segment > segmentOf( Bridging::VlanId vlan ) const;
   /** Of several VLANs with that VNI the first. */
   std::optional< Segment > segmentOf( Wirekit::IntfId tunnel, std::uint32_t vni ) const;

 private:
   bool isAsked( Bridging::VlanId vlan ) const;

   Kel::Ptr< Bridging::SwitchIntfConfigDir const > configured_;
   Kel::Ptr< Bridging::Config const > bridging_;
   Kel::Ptr< Bridging::Input::AllowedVlans const > allowed_;
   Kel::Ptr< Vxlan::VtiStatusDir const > tunnels_;
   std::set< Wirekit::IntfId > all_;
};

/** The path of a row that stands for a key of an attribute, "PATH/ATTRIBUTE/KEY". */
std::string pathOfKey( std::string const & path, char const * attribute, std::string_view key );

}  // namespace Views
