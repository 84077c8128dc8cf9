#include "records/catalog/Meaning.h"
#include "records/bridging/AllowedVlans.h"
#include "records/bridging/Config.h"
#include "records/bridging/EntryType.h"
#include "records/bridging/MacVlanPair.h"
#include "records/bridging/SwitchIntfConfig.h"

namespace Catalog {

namespace {

bool const known = meaningsAre( [] {
   return Meanings{
      meaningOf< Bridging::Config >(
         "The bridging configuration of the switch",
         { { "vlanConfig", "the VLANs that exist" },
           { "vidToFidMap",
             "the forwarding domain of a VLAN; one that isn't listed has its own number" } } ),
      meaningOf< Bridging::VlanConfig >(
         "One VLAN", { { "intf", "the interfaces that carry it; only the keys count" } } ),
      meaningOf< Bridging::SwitchIntfConfigDir >( "The switchport configuration of all interfaces",
                                                  { { "switchIntfConfig", "the switchports" } } ),
      meaningOf< Bridging::Input::SwitchIntfConfig >(
         "The switchport configuration of one interface",
         { { "trunkNativeVlan", "the VLAN of untagged frames" } } ),
      meaningOf< Bridging::Input::AllowedVlans >(
         "The VLANs that one feature wants on interfaces, beside what is configured",
         { { "vlans", "VLAN numbers, joined by commas" },
           { "trunkGroup", "groups of interfaces; the agent's own is \"qor\"" } } ),
      meaningOf< Bridging::Input::TrunkGroup >(
         "Interfaces that carry the VLANs of one feature",
         { { "intfList", "the members; only the keys count" } } ),
      meaningOf< Bridging::MacVlanPair >(
         "A host", { { "mac", "its address" }, { "vlanId", "the VLAN that it is in" } } ),
      meaningOf< Bridging::HostKey >(
         "The place of an address in the forwarding table",
         { { "fid", "the forwarding domain, by default the number of the VLAN" },
           { "addr", "the host's address" } } ),
      numbersOf< Bridging::EntryType >(
         "How a forwarding entry came to be; hosts of other types are not followed",
         { number( Bridging::EntryType::none, "none", "no entry" ),
           number( Bridging::EntryType::local, "local", "learnt on this switch" ),
           number( Bridging::EntryType::peer, "peer", "learnt on the MLAG peer" ),
           number( Bridging::EntryType::otherLearnt, "otherLearnt",
                   "learnt in another way; followed like the two before" ) } ),
   };
} );

}  // namespace

}  // namespace Catalog
