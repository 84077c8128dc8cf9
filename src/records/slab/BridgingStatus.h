#pragma once

#include "platform/slab/Table.h"
#include "records/bridging/HostKey.h"
#include "records/slab/SlabFdbStatus.h"

namespace Slab::Bridging {

/** The forwarding database, in shared memory: where each host was learnt. */
class Status : public TableEntity {
   KEL_ENTITY_OF( Slab::Bridging::Status, ::Slab::TableEntity )
   KEL_SLAB_TABLE( ::Bridging::HostKey, SlabFdbStatus, fdbStatus, 262144 )
};
KEL_FACTORY( statusFactory, Status )

}  // namespace Slab::Bridging
