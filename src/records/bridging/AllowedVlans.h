#pragma once

#include "platform/kel/Entity.h"
#include "platform/wirekit/IntfId.h"

namespace Bridging::Input {

/** Interfaces that carry the VLANs of one feature. */
class TrunkGroup : public Kel::NamedEntity {
   KEL_SHARED_ENTITY( Bridging::Input::TrunkGroup )
   KEL_MAP( Wirekit::IntfId, bool, intfList )
};
KEL_FACTORY( trunkGroupFactory, TrunkGroup )

/** The VLANs that one feature wants on interfaces, beside what is configured. */
class AllowedVlans : public Kel::NamedEntity {
   KEL_SHARED_ENTITY( Bridging::Input::AllowedVlans )
   /** VLAN numbers, joined by commas. */
   KEL_MAP( Wirekit::IntfId, Kel::String, vlans )
   KEL_CHILDREN( Kel::Name, TrunkGroup, trunkGroup )
};
KEL_FACTORY( allowedVlansFactory, AllowedVlans )

}  // namespace Bridging::Input
