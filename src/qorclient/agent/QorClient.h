#pragma once

#include "platform/kel/Dir.h"
#include "platform/kel/StateMachine.h"
#include "platform/orb/TaskScheduler.h"
#include "qorclient/agent/QorClientLocalTypes.h"
#include "qorclient/datapath/PolicyFragmentSm.h"
#include "qorclient/flowtable/HwStatus.h"
#include "qorclient/flowtable/PinFlowHwConfig.h"
#include "qorclient/host/HostTrackerSm.h"
#include "qorclient/host/MlagSm.h"
#include "qorclient/host/QorClientResyncSm.h"
#include "qorclient/vlan/VlanHelperSm.h"
#include "records/bridging/Config.h"
#include "records/bridging/SwitchIntfConfig.h"
#include "records/l2rib/HostInput.h"
#include "records/mlag/Config.h"
#include "records/mlag/HostTable.h"
#include "records/mlag/Status.h"
#include "records/mlagp2p/Status.h"
#include "records/qor/PolicyFragment.h"
#include "records/qor/PolicyFragmentStatus.h"
#include "records/routing/VirtualRouterMacStatus.h"
#include "records/slab/BridgingStatus.h"

/*
 * The roots of the L2 policy tree. They hand their inputs on and keep the order in which the parts
 * of the tree come and go; they read and write no policy themselves.
 */

namespace QorClient {

/**
 * Watches the directory in which one entry matters, "policy": the datapath lives as long as that
 * entry stands. An entry of any other name ends the process.
 */
class PolicyFragmentDirSm : public Kel::StateMachine {
   KEL_STATE_MACHINE( QorClient::PolicyFragmentDirSm )

   // Inputs.
   KEL_REACTOR( KelPolFragDir, Kel::Dir const, polFragDir,
                KEL_ON( entity, handlePolicyFragmentDirEntry ) )
   KEL_GIVEN( Kel::Ptr< Slab::Bridging::Status const >, slabBrStatus )
   KEL_GIVEN( Kel::Ptr< Bridging::Config const >, brConfig )
   KEL_GIVEN( Kel::Ptr< Bridging::SwitchIntfConfigDir const >, switchIntfConfigDir )
   KEL_GIVEN( Kel::Ptr< Qor::V1::QorPolicyFragmentStatus >, polFragStatus )
   KEL_GIVEN( Kel::Ptr< QorClient::Status >, agentStatus )
   KEL_GIVEN( Kel::Ptr< OpenFlowTable::PinFlowHwConfig >, pfHwConfig )
   KEL_GIVEN( Kel::Ptr< OpenFlowTable::HwStatus const >, pfHwStatus )
   KEL_GIVEN( Kel::Ptr< Vxlan::VniSviConfig >, vniSviConfig )
   KEL_GIVEN( Kel::Ptr< Bridging::Input::AllowedVlans >, dynAllowedVlans )
   KEL_GIVEN( Kel::Ptr< Bridging::Input::TrunkGroup >, qorTrunkGroup )
   KEL_GIVEN( Kel::Ptr< Mlag::Config const >, mlagConfig )
   KEL_GIVEN( Kel::Ptr< Mlag::HostTable const >, mlagHostTable )
   KEL_GIVEN( Kel::Ptr< Routing::Fhrp::VirtualRouterMacStatus const >, fhrpGlideMacStatus )
   KEL_GIVEN( Kel::Ptr< Kel::Dir const >, nimbusVniBaseDir )
   KEL_GIVEN( Kel::Ptr< L2Rib::HostInput >, l2RibQorHostInput )
   KEL_GIVEN( Kel::Ptr< OpenFlowTable::HwStatus const >, ofHwStatus )
   KEL_SINGLETON( LocalData const, localData )

   // Children: present while "policy" is.
   KEL_CHILD( MlagSm, mlagSm )
   KEL_CHILD( HostTrackerSm, hostTrackerSm )
   KEL_CHILD( DatapathV1::PolicyFragmentSm, policyFragmentSm )
   KEL_CHILD( VlanHelperSm, vlanHelperSm )

   // Own state.
   KEL_OWN( bool, initialized )

   // Operations.
   /**
    * Tears the datapath down. The parts go in another order than the reverse of that in which they
    * came: the datapath first, while all that it uses is still there, the host tracker last
    * (QorClientClosingOrder.cpp).
    */
   void doPrepareToDie();

   // Handlers.
   void handlePolicyFragmentDirEntry( Kel::Name const & name );
   void handlePolicyFragmentDirEntry();
   void handleInitialized() override;
};
KEL_FACTORY( policyFragmentDirSmFactory, PolicyFragmentDirSm )

/** The top of the L2 policy tree, present while the gate is open. */
class RootSm : public Kel::StateMachine {
   KEL_STATE_MACHINE( QorClient::RootSm )

   // Inputs.
   KEL_GIVEN( Kel::Ptr< QorClient::Status >, agentStatus )
   KEL_GIVEN( Kel::Ptr< Kel::Dir const >, polFragDir )
   KEL_GIVEN( Kel::Ptr< Slab::Bridging::Status const >, slabBrStatus )
   KEL_GIVEN( Kel::Ptr< Bridging::Config const >, brConfig )
   KEL_GIVEN( Kel::Ptr< Bridging::SwitchIntfConfigDir const >, switchIntfConfigDir )
   KEL_GIVEN( Kel::Ptr< Qor::V1::QorPolicyFragmentStatus >, polFragStatus )
   KEL_GIVEN( Kel::Ptr< OpenFlowTable::PinFlowHwConfig >, pfHwConfig )
   KEL_GIVEN( Kel::Ptr< OpenFlowTable::HwStatus const >, pfHwStatus )
   KEL_GIVEN( Kel::Ptr< Vxlan::VniSviConfig >, vniSviConfig )
   KEL_GIVEN( Kel::Ptr< Bridging::Input::AllowedVlans >, dynAllowedVlans )
   KEL_GIVEN( Kel::Ptr< Bridging::Input::TrunkGroup >, qorTrunkGroup )
   KEL_GIVEN( Kel::Ptr< Mlag::Config const >, mlagConfig )
   KEL_GIVEN( Kel::Ptr< Mlag::HostTable const >, mlagHostTable )
   KEL_GIVEN( Kel::Ptr< Routing::Fhrp::VirtualRouterMacStatus const >, fhrpGlideMacStatus )
   KEL_GIVEN( Kel::Ptr< Kel::Dir const >, nimbusVniBaseDir )
   KEL_GIVEN( Kel::Ptr< L2Rib::HostInput >, l2RibQorHostInput )
   KEL_GIVEN( Kel::Ptr< OpenFlowTable::HwStatus const >, ofHwStatus )
   KEL_GIVEN( Kel::Ptr< MlagP2p::QorClient::Status const >, mlagPluginStatus )
   KEL_GIVEN( Kel::Ptr< Mlag::Status const >, mlagStatus )
   KEL_GIVEN( Kel::Ptr< Orb::TaskScheduler >, scheduler )
   KEL_SINGLETON( LocalData, localData )

   // Own state.
   KEL_OWN( bool, initialized )

   // Children.
   KEL_CHILD( ResyncSm, resyncSm )
   KEL_CHILD( PolicyFragmentDirSm, polFragDirSm )
   KEL_CHILD( QorClientMlagPluginCopySm, qorClientMlagPluginCopySm )

   // Operations.
   /** Undoes what the tree has published; for the owner to call, the destructor does not. */
   void cleanup();

   // Handlers.
   void handleInitialized() override;
};
KEL_FACTORY( rootSmFactory, RootSm )

}  // namespace QorClient
