#pragma once

#include "qorclient/datapath/ServiceIntfMacSm.h"
#include "records/routing/VirtualRouterMacStatus.h"

namespace QorClient::DatapathV1 {

/** Feeds the virtual router's MAC to the L2 RIB, on the near interface. */
class NearIntfGlideMacSm : public ServiceIntfMacSm {
   KEL_STATE_MACHINE_OF( QorClient::DatapathV1::NearIntfGlideMacSm, ServiceIntfMacSm )

   // Inputs, after those of the base.
   KEL_REACTOR( KelFhrpGlideMacStatus, Routing::Fhrp::VirtualRouterMacStatus const,
                fhrpGlideMacStatus, KEL_ON( virtualRouterMac, handleGlideMac ) )

   // Own state.
   /** The address last fed, or last seen while nothing could be fed. */
   KEL_OWN( Wirekit::EthAddr, glideMac )
   KEL_OWN( bool, initialized )

   void doMacInput() override { handleGlideMac(); }

   // Handlers.
   void handleInitialized() override;
   void handleGlideMac();
};
KEL_FACTORY( nearIntfGlideMacSmFactory, NearIntfGlideMacSm )

}  // namespace QorClient::DatapathV1
