#pragma once

#include "platform/kel/Entity.h"
#include "platform/wirekit/EthAddr.h"
#include "records/bridging/VlanId.h"

namespace Mlag {

struct HostEntryKey {
   Bridging::VlanId vlanId;
   Wirekit::EthAddr address;

   KEL_KEY_RECORD( HostEntryKey, vlanId, address )
   friend auto operator<=>( HostEntryKey const &, HostEntryKey const & ) = default;
};

/** A host as the peer reports it. */
struct HostEntry {
   HostEntryKey key;
   /** The name of the interface on which the peer learnt it. */
   Kel::String intf;
   /** Set for an entry that says nothing of the host's place. */
   bool unusable = false;

   KEL_RECORD( HostEntry, key, intf, unusable )
};

/** The hosts of the peer. */
class HostTable : public Kel::NamedEntity {
   KEL_SHARED_ENTITY( Mlag::HostTable )
   KEL_VALUES( HostEntryKey, HostEntry, hostEntry, key )
};
KEL_FACTORY( hostTableFactory, HostTable )

}  // namespace Mlag
