#include "qorclient/datapath/HostFdbStatus.h"

namespace QorClient::DatapathV1 {

Slab::Bridging::SlabFdbStatus getHostFdbStatus(
   Bridging::MacVlanPair const & macVlan, Kel::Ptr< Bridging::Config const > const & bridgingConfig,
   Kel::Ptr< Slab::Bridging::Status const > const & slabBridgingStatus ) {
   return slabBridgingStatus->fdbStatus( bridgingConfig->hostKey( macVlan.vlanId, macVlan.mac ) );
}

}  // namespace QorClient::DatapathV1
