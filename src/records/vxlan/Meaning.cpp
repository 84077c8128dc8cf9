#include "records/catalog/Meaning.h"
#include "records/vxlan/VniSviConfig.h"
#include "records/vxlan/VtiStatus.h"
#include "records/vxlan/VxlanClientConfig.h"

namespace Catalog {

namespace {

bool const known = meaningsAre( [] {
   return Meanings{
      meaningOf< Vxlan::VtiStatusDir >(
         "The tunnel interfaces of the switch",
         { { "vtiStatus", "the interfaces; a second one ends the agent" } } ),
      meaningOf< Vxlan::VtiStatus >( "A VXLAN tunnel interface",
                                     { { "vlanToVniMap", "the VNI of each VLAN" },
                                       { "addr", "the source address of the tunnel" } } ),
      meaningOf< Vxlan::VniSourcePair >(
         "The VNI of a VLAN", { { "vni", "the VNI" }, { "source", "who asked for it" } } ),
      numbersOf< Vxlan::VniSource >(
         "Who asked for a VNI; other numbers are other features",
         { number( Vxlan::VniSource::none, "none", "nobody: it is configured" ),
           number( Vxlan::VniSource::qor, "qor", "the agent" ) } ),
      meaningOf< Vxlan::VniSviConfig >( "The VNIs that one feature asks for",
                                        { { "vniSviInfo", "a row a VNI" } } ),
      meaningOf< Vxlan::VniSviInfo >( "A VNI that someone asks for",
                                      { { "source", "the name of who asks" },
                                        { "priority", "how urgently" },
                                        { "vni", "its key" } } ),
      numbersOf< Vxlan::VniSviInfo::VniPriority >(
         "How urgently a VNI is wanted",
         { number( Vxlan::VniSviInfo::VniPriority::none, "none", "no priority" ),
           number( Vxlan::VniSviInfo::VniPriority::policy, "policy", "that of a policy" ) } ),
      meaningOf< Vxlan::VxlanClientConfig >(
         "What one client wants of the VXLAN agent",
         { { "arpPublish", "learnt ARP entries are to be published" },
           { "enabled", "the client is on" } } ),
   };
} );

}  // namespace

}  // namespace Catalog
