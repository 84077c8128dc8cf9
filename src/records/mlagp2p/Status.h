#pragma once

#include "platform/kel/Entity.h"
#include "platform/wirekit/IntfId.h"
#include "records/bridging/MacVlanPair.h"

namespace MlagP2p::QorClient {

/** What the agent of the peer switch shares. */
class Status : public Kel::NamedEntity {
   KEL_SHARED_ENTITY( MlagP2p::QorClient::Status )
   KEL_MAP( Bridging::MacVlanPair, Wirekit::IntfId, warmHost )
};
KEL_FACTORY( statusFactory, Status )

}  // namespace MlagP2p::QorClient
