#include "records/catalog/Meaning.h"
#include "records/mlag/Config.h"
#include "records/mlag/HostTable.h"
#include "records/mlag/Status.h"

namespace Catalog {

namespace {

bool const known = meaningsAre( [] {
   return Meanings{
      meaningOf< Mlag::Config >(
         "The configuration of the MLAG pair",
         { { "peerLinkIntfId", "the port channel to the peer; empty for none" } } ),
      meaningOf< Mlag::Status >( "The state of the MLAG pair",
                                 { { "mlagState", "the role of the switch" } } ),
      numbersOf< Mlag::MlagState >(
         "The role of the switch in its pair; other numbers say nothing to the agent",
         { number( Mlag::MlagState::none, "none", "no role" ),
           number( Mlag::MlagState::secondary, "secondary", "the peer leads" ) } ),
      meaningOf< Mlag::HostTable >( "The hosts of the peer", { { "hostEntry", "the hosts" } } ),
      meaningOf< Mlag::HostEntry >(
         "A host as the peer reports it",
         { { "key", "the host" },
           { "intf", "the name of the interface on which the peer learnt it" },
           { "unusable", "set for an entry that says nothing of the host's place" } } ),
      meaningOf< Mlag::HostEntryKey >(
         "A host", { { "vlanId", "the VLAN that it is in" }, { "address", "its address" } } ),
   };
} );

}  // namespace

}  // namespace Catalog
