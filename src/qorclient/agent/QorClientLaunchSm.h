#pragma once

#include "platform/kel/Dir.h"
#include "platform/kel/StateMachine.h"
#include "qorclient/agent/QorClient.h"
#include "qorclient/agent/QorClientLocalTypes.h"
#include "qorclient/l3/QorClientL3RootSm.h"
#include "qorclient/monitor/QorClientCommonRootSm.h"
#include "records/controllerclient/Status.h"
#include "records/qorl3/GroupType.h"

namespace QorClient {

/**
 * The gate: decides whether the agent does anything at all. It is open while the controller client
 * and one of the agent's services are enabled; the presence of `rootSm` is its state. While it is
 * closed no policy state machine exists, and what the gate clears itself is kept empty; rules go
 * with the machines that wrote them.
 *
 * It never looks into the policy. The end of the process is none of its own: the outputs stay as
 * they are.
 */
class LaunchSm : public Kel::StateMachine {
   KEL_STATE_MACHINE( QorClient::LaunchSm )

   // Inputs.
   KEL_REACTOR( KelControllerClientStatus, ControllerClient::Status const, controllerClientStatus,
                KEL_ON( enabled, handleControllerClientEnabled ) )
   KEL_GIVEN( Kel::Ptr< QorClient::Status >, agentStatus )
   KEL_GIVEN( Kel::Ptr< Kel::Dir >, vxlanClientDir )
   KEL_GIVEN( Kel::Ptr< Kel::Dir const >, polFragDir )
   KEL_GIVEN( Kel::Ptr< Slab::Bridging::Status const >, slabBrStatus )
   KEL_GIVEN( Kel::Ptr< Bridging::Config const >, brConfig )
   KEL_GIVEN( Kel::Ptr< Bridging::SwitchIntfConfigDir const >, switchIntfConfigDir )
   KEL_GIVEN( Kel::Ptr< Qor::V1::QorPolicyFragmentStatus >, polFragStatus )
   KEL_GIVEN( Kel::Ptr< OpenFlowTable::PinFlowHwConfig >, pfHwConfig )
   KEL_GIVEN( Kel::Ptr< OpenFlowTable::HwStatus const >, pfHwStatus )
   KEL_REACTOR( KelCapability, QorCommon::V1::Capability, capability,
                KEL_ON( feature, handleQorL3 ) )
   KEL_GIVEN( Kel::Ptr< OpenFlowTable::PlatformTableSupport const >, platformTableSupport )
   KEL_GIVEN( Kel::Ptr< Vxlan::VniSviConfig >, vniSviConfig )
   KEL_GIVEN( Kel::Ptr< Vxlan::VtiStatusDir const >, vtiStatusDir )
   KEL_GIVEN( Kel::Ptr< Bridging::Input::AllowedVlans >, dynAllowedVlans )
   KEL_GIVEN( Kel::Ptr< Bridging::Input::TrunkGroup >, qorTrunkGroup )
   KEL_GIVEN( Kel::Ptr< Mlag::Config const >, mlagConfig )
   KEL_GIVEN( Kel::Ptr< Mlag::HostTable const >, mlagHostTable )
   KEL_GIVEN( Kel::Ptr< OpenFlowTable::PlatformInitConfig >, platformInitConfig )
   KEL_GIVEN( Kel::Ptr< Routing::Fhrp::VirtualRouterMacStatus const >, fhrpGlideMacStatus )
   KEL_GIVEN( Kel::Ptr< Kel::Dir const >, nimbusVniBaseDir )
   KEL_GIVEN( Kel::Ptr< L2Rib::HostInput >, l2RibQorHostInput )
   KEL_GIVEN( Kel::Ptr< OpenFlowTable::HwStatus const >, ofHwStatus )
   KEL_GIVEN( Kel::Ptr< MlagP2p::QorClient::Status const >, mlagPluginStatus )
   KEL_GIVEN( Kel::Ptr< Mlag::Status const >, mlagStatus )
   KEL_GIVEN( Kel::Ptr< Orb::TaskScheduler >, scheduler )
   KEL_GIVEN( Kel::Ptr< Kel::Dir const >, groupTypeConfigDir )
   KEL_GIVEN( Kel::Ptr< QorL3::V1::GroupTypeStatus >, groupTypeStatus )
   KEL_GIVEN( Kel::Ptr< Kel::Dir const >, groupSetConfigDir )
   KEL_GIVEN( Kel::Ptr< Kel::Dir >, groupSetStatusDir )
   KEL_GIVEN( Kel::Ptr< Kel::Dir const >, fragmentConfigDir )
   KEL_GIVEN( Kel::Ptr< Kel::Dir >, fragmentStatusDir )
   KEL_GIVEN( Kel::Ptr< OpenFlowTable::PinFlowHwConfig >, pfHwConfigL3 )
   KEL_GIVEN( Kel::Ptr< OpenFlowTable::HwStatus const >, pfHwStatusL3 )
   KEL_SINGLETON_REACTOR( KelLocalData, LocalData const, localData,
                          KEL_ON( qorEnabled, handleQorEnabled ) )

   // Operations.
   bool isEnabled() const {
      return localData()->qorEnabled() && controllerClientStatus()->enabled();
   }

   // Children.
   KEL_CHILD( QorClientCommon::RootSm, commonRootSm )
   KEL_CHILD( QorClient::RootSm, rootSm )
   KEL_CHILD( QorClientL3::V1::RootSm, rootSmL3 )

   // Own state.
   KEL_OWN( bool, initialized )

   // Handlers.
   /** Opens or closes the gate; each may be repeated. */
   void handleEnabled();
   void handleControllerClientEnabled();
   void handleQorEnabled();
   void handleQorL3();
   void handleInitialized() override;

 private:
   void openGate();
   void closeGate();
};
KEL_FACTORY( launchSmFactory, LaunchSm )

}  // namespace QorClient
