#pragma once

#include "platform/kel/Entity.h"
#include "platform/wirekit/IntfId.h"
#include "platform/wirekit/IpAddr.h"
#include "records/bridging/VlanId.h"
#include "records/vxlan/Vni.h"
#include "records/vxlan/VniSource.h"

namespace Vxlan {

/** The VNI of a VLAN and who asked for it. */
struct VniSourcePair {
   VniExtOrNone vni;
   VniSource source{};

   KEL_RECORD( VniSourcePair, vni, source )
};

/** A VXLAN tunnel interface. */
class VtiStatus : public Kel::KeyedEntity< Wirekit::IntfId > {
   KEL_SHARED_ENTITY_OF( Vxlan::VtiStatus, ::Kel::KeyedEntity< Wirekit::IntfId > )
   KEL_KEY( Wirekit::IntfId, intfId )
   KEL_MAP( Bridging::VlanId, VniSourcePair, vlanToVniMap )
   /** The source address of the tunnel. */
   KEL_SCALAR( Wirekit::IpAddr, addr )
};
KEL_FACTORY( vtiStatusFactory, VtiStatus )

/** The tunnel interfaces of the switch. */
class VtiStatusDir : public Kel::NamedEntity {
   KEL_SHARED_ENTITY( Vxlan::VtiStatusDir )
   KEL_CHILDREN( Wirekit::IntfId, VtiStatus, vtiStatus )
};
KEL_FACTORY( vtiStatusDirFactory, VtiStatusDir )

}  // namespace Vxlan
