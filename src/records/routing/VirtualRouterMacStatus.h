#pragma once

#include "platform/kel/Entity.h"
#include "platform/wirekit/EthAddr.h"

namespace Routing::Fhrp {

class VirtualRouterMacStatus : public Kel::NamedEntity {
   KEL_SHARED_ENTITY( Routing::Fhrp::VirtualRouterMacStatus )
   /** Zero for none. */
   KEL_SCALAR( Wirekit::EthAddr, virtualRouterMac )
};
KEL_FACTORY( virtualRouterMacStatusFactory, VirtualRouterMacStatus )

}  // namespace Routing::Fhrp
