#pragma once

#include <vector>

#include "platform/kel/Dir.h"
#include "qorclient/datapath/ServiceIntfMacSm.h"
#include "records/bridging/Config.h"
#include "records/qor/PolicyFragmentStatus.h"
#include "records/slab/BridgingStatus.h"
#include "records/vxlancontroller/VniFdbStatusV2.h"

namespace QorClient::DatapathV1 {

/**
 * Feeds the intercepted hosts that the VXLAN controller reports for this switch's own tunnel end
 * point to the L2 RIB, on the far interface. A host that is also learnt on this switch is held
 * back until its flow is programmed: until then its traffic must not go to the service.
 */
class FarIntfNimbusHostMacSm : public ServiceIntfMacSm {
   KEL_STATE_MACHINE_OF( QorClient::DatapathV1::FarIntfNimbusHostMacSm, ServiceIntfMacSm )

   // Inputs, after those of the base.
   KEL_REACTOR( KelNimbusVniBaseDir, Kel::Dir const, nimbusVniBaseDir,
                KEL_ON( entity, handleNimbusVniBaseDir ) )
   KEL_GIVEN( Kel::Ptr< Bridging::Config const >, brConfig )
   KEL_GIVEN( Kel::Ptr< Slab::Bridging::Status const >, slabBrStatus )
   KEL_REACTOR( KelPolicyFragStatus, Qor::V1::ServicePolicyFragmentStatus const, policyFragStatus,
                KEL_ON( flowStatus, handleFlowStatus ) )
   /** The controller's hosts of the VNI, found in the directory. */
   KEL_OWN_REACTOR( KelVniFdbStatusV2, VxlanController::VniFdbStatusV2 const, vniFdbStatusV2,
                    KEL_ON( macVtepTable, handleMacVtepTable ) )

   // Own state.
   /** The hosts of the fragment's host-intercept flows, and the flow of each. */
   KEL_OWN_MAP( Bridging::MacVlanPair, Kel::String, interceptedHost )
   KEL_OWN( bool, initialized )

   // For the fragment.
   void addInterceptedHost( Bridging::MacVlanPair const & mvp, Kel::String const & flowName );
   void deleteInterceptedHost( Bridging::MacVlanPair const & mvp );

   void doMacInput() override { handleNimbusVniBaseDir(); }

   // Handlers.
   void handleInitialized() override;
   void handleNimbusVniBaseDir( Kel::Name const & name );
   void handleNimbusVniBaseDir();
   void handleFlowStatus( Kel::String const & flowName );
   void handleMacVtepTable( Wirekit::EthAddr const & macAddr );
   void handleMacVtepTable();

 private:
   /** Whether a row of the L2 RIB that stands already lets the controller's pass. */
   bool supersedes( VxlanController::MacVtepV2 const & macVtep, L2Rib::Host const & l2Host,
                    Wirekit::IntfId fdbIntf );
   /** False for a host that is learnt on this switch and whose flow isn't programmed. */
   bool mayBeFed( Bridging::MacVlanPair const & mvp,
                  Slab::Bridging::SlabFdbStatus const & fdb ) const;
   void forgetHostOfFlow( Bridging::MacVlanPair const & mvp );

   // The inverse of `interceptedHost`, so that a change of a flow's status need not walk it.
   Kel::HashMap2018< Kel::String, std::vector< Bridging::MacVlanPair > > hostsOfFlow_;
};
KEL_FACTORY( farIntfNimbusHostMacSmFactory, FarIntfNimbusHostMacSm )

}  // namespace QorClient::DatapathV1
