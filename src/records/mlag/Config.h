#pragma once

#include "platform/kel/Entity.h"
#include "platform/wirekit/IntfId.h"

namespace Mlag {

class Config : public Kel::NamedEntity {
   KEL_SHARED_ENTITY( Mlag::Config )
   /** The port channel to the peer; empty for none. */
   KEL_SCALAR( Wirekit::IntfId, peerLinkIntfId )
};
KEL_FACTORY( configFactory, Config )

}  // namespace Mlag
