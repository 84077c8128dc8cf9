#pragma once

#include "platform/kel/Entity.h"

namespace Vxlan {

/** What one client wants of the VXLAN agent. */
class VxlanClientConfig : public Kel::NamedEntity {
   KEL_SHARED_ENTITY( Vxlan::VxlanClientConfig )
   KEL_SCALAR( bool, arpPublish )
   KEL_SCALAR( bool, enabled )
};
KEL_FACTORY( vxlanClientConfigFactory, VxlanClientConfig )

}  // namespace Vxlan
