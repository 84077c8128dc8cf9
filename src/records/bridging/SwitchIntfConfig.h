#pragma once

#include "platform/kel/Entity.h"
#include "platform/wirekit/IntfId.h"
#include "records/bridging/VlanId.h"

namespace Bridging {

namespace Input {

/** The switchport configuration of one interface. */
class SwitchIntfConfig : public Kel::KeyedEntity< Wirekit::IntfId > {
   KEL_SHARED_ENTITY_OF( Bridging::Input::SwitchIntfConfig, ::Kel::KeyedEntity< Wirekit::IntfId > )
   KEL_KEY( Wirekit::IntfId, intfId )
   /** The VLAN of untagged frames. */
   KEL_SCALAR( Bridging::VlanId, trunkNativeVlan )
};
KEL_FACTORY( switchIntfConfigFactory, SwitchIntfConfig )

}  // namespace Input

/** The switchport configuration of all interfaces. */
class SwitchIntfConfigDir : public Kel::NamedEntity {
   KEL_SHARED_ENTITY( Bridging::SwitchIntfConfigDir )
   KEL_CHILDREN( Wirekit::IntfId, Input::SwitchIntfConfig, switchIntfConfig )
};
KEL_FACTORY( switchIntfConfigDirFactory, SwitchIntfConfigDir )

}  // namespace Bridging
