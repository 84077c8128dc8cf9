#include "datapath/HostFdbStatus.h"

namespace QorClient::DatapathV1 {

Slab::Bridging::SlabFdbStatus getHostFdbStatus(
   Bridging::MacVlanPair const & macVlan, Kel::Ptr< Bridging::Config const > const & bridgingConfig,
   Kel::Ptr< Slab::Bridging::Status const > const & slabBridgingStatus ) {
   Bridging::HostKey key{ macVlan.vlanId.value(), macVlan.mac };
   if ( bridgingConfig->vidToFidMapHas( macVlan.vlanId ) ) {
      key.fid = bridgingConfig->vidToFidMap( macVlan.vlanId );
   }
   return slabBridgingStatus->fdbStatus( key );
}

}  // namespace QorClient::DatapathV1
