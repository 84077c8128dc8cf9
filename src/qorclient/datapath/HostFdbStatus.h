#pragma once

#include "records/bridging/Config.h"
#include "records/bridging/MacVlanPair.h"
#include "records/slab/BridgingStatus.h"

namespace QorClient::DatapathV1 {

/** A host's row in the forwarding database; the empty row when it has none. */
Slab::Bridging::SlabFdbStatus getHostFdbStatus(
   Bridging::MacVlanPair const & macVlan, Kel::Ptr< Bridging::Config const > const & bridgingConfig,
   Kel::Ptr< Slab::Bridging::Status const > const & slabBridgingStatus );

}  // namespace QorClient::DatapathV1
