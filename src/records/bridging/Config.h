#pragma once

#include "platform/kel/Entity.h"
#include "platform/wirekit/IntfId.h"
#include "records/bridging/HostKey.h"
#include "records/bridging/VlanId.h"

namespace Bridging {

/** One VLAN. */
class VlanConfig : public Kel::KeyedEntity< VlanId > {
   KEL_SHARED_ENTITY_OF( Bridging::VlanConfig, ::Kel::KeyedEntity< VlanId > )
   KEL_KEY( VlanId, vlanId )
   /** The member interfaces; only the keys count. */
   KEL_MAP( Wirekit::IntfId, bool, intf )
};
KEL_FACTORY( vlanConfigFactory, VlanConfig )

/** The bridging configuration of the switch. */
class Config : public Kel::NamedEntity {
   KEL_SHARED_ENTITY( Bridging::Config )
   KEL_CHILDREN( VlanId, VlanConfig, vlanConfig )
   /** A VLAN that isn't listed has its own number as fid. */
   KEL_MAP( VlanId, Fid, vidToFidMap )

   /** Where an address of a VLAN stands in the forwarding database. */
   HostKey hostKey( VlanId vlan, Wirekit::EthAddr const & addr ) const {
      return { vidToFidMapHas( vlan ) ? vidToFidMap( vlan ) : Fid( vlan.value() ), addr };
   }
};
KEL_FACTORY( configFactory, Config )

}  // namespace Bridging
