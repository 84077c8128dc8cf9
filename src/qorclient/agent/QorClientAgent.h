#pragma once

#include <cstdint>

#include "platform/warden/CAgent.h"
#include "qorclient/agent/QorClientLaunchSm.h"
#include "qorclient/monitor/QorClientServiceMonitorSm.h"
#include "records/catalog/Catalog.h"

namespace QorClient {

/**
 * The root object of the process. It opens the binary trace, mounts every entity that the agent
 * will ever touch, and creates the service monitor and the launch gate; from then on it does
 * nothing. The state in the database and in shared memory outlives it.
 *
 * `Warden::startAgent` makes it by the name of its type.
 */
class Agent : public Warden::CAgent {
   KEL_ENTITY_OF( QorClient::Agent, ::Warden::CAgent )
   ~Agent() override;

   /** Opens the trace file unless FLASHLOG_DISABLE is set, and asks for the mounts. */
   void doInit() override;
   /** Fills the attributes and creates the children. Asserts that the mounts succeeded. */
   void doMountsComplete( Corestore::MountStatus status,
                          Kel::Ptr< Corestore::EntityManager > em ) override;

   /** Null until the mounts are complete, as all that follows. */
   Kel::Ptr< ServiceMonitorRootSm > serviceMonitorRootSm() const {
      return serviceMonitorRootSm_.machine();
   }
   Kel::Ptr< LaunchSm > launchSm() const { return launchSm_.machine(); }

 private:
   void openTrace() const;
   void mountSlabTables( Kel::Ptr< Corestore::EntityManager > const & em );
   void announceHostTable( Corestore::EntityManager const & em ) const;
   void fetchEntities( Corestore::EntityManager const & em );

   // The mounted entities: const ones are read, the others are the agent's outputs. Not owned.
   Kel::Ptr< Kel::Dir const > polFragDir_;
   Kel::Ptr< Qor::V1::QorPolicyFragmentStatus > polFragStatus_;
   Kel::Ptr< QorClient::Status > agentStatus_;
   Kel::Ptr< MlagP2p::QorClient::Status const > mlagPluginStatus_;
   Kel::Ptr< Slab::Bridging::Status const > slabBridgingStatus_;
   Kel::Ptr< Bridging::Config const > bridgingConfig_;
   Kel::Ptr< Bridging::SwitchIntfConfigDir const > switchIntfConfigDir_;
   Kel::Ptr< OpenFlowTable::PinFlowHwConfig > pfHwConfig_;
   Kel::Ptr< OpenFlowTable::HwStatus const > pfHwStatus_;
   Kel::Ptr< OpenFlowTable::PlatformTableSupport const > platformTableSupport_;
   Kel::Ptr< Kel::Dir > vxlanClientDir_;
   Kel::Ptr< ControllerClient::Status const > mgmtControllerStatus_;
   Kel::Ptr< Routing::Fhrp::VirtualRouterMacStatus const > fhrpGlideMacStatus_;
   Kel::Ptr< Kel::Dir const > nimbusVniBaseDir_;
   Kel::Ptr< QorCommon::V1::Capability > capability_;
   Kel::Ptr< L2Rib::HostInput > l2RibQorHostInput_;
   std::uint32_t l2RibQorHostTableLen_ = L2Rib::hostTableRows;
   Kel::String l2RibQorHostTableSlabPath_ = Catalog::placeOf( "l2RibQorHostInput" ).path;
   Kel::Ptr< Vxlan::VniSviConfig > vniSviConfig_;
   Kel::Ptr< Vxlan::VtiStatusDir const > vtiStatusDir_;
   Kel::Ptr< Bridging::Input::AllowedVlans > dynAllowedVlans_;
   Kel::Ptr< Mlag::Config const > mlagConfig_;
   Kel::Ptr< Mlag::Status const > mlagStatus_;
   Kel::Ptr< Mlag::HostTable const > mlagHostTable_;
   Kel::Ptr< OpenFlowTable::PlatformInitConfig > platformInitConfig_;
   Kel::Ptr< OpenFlowTable::HwStatus const > ofHwStatus_;
   Kel::Ptr< Kel::Dir const > groupTypeConfigDir_;
   Kel::Ptr< QorL3::V1::GroupTypeStatus > groupTypeStatus_;
   Kel::Ptr< Kel::Dir const > groupSetConfigDir_;
   Kel::Ptr< Kel::Dir > groupSetStatusDir_;
   Kel::Ptr< Kel::Dir const > fragmentConfigDir_;
   Kel::Ptr< Kel::Dir > fragmentStatusDir_;
   Kel::Ptr< OpenFlowTable::PinFlowHwConfig > pfHwConfigL3_;
   Kel::Ptr< OpenFlowTable::HwStatus const > pfHwStatusL3_;

   Kel::Child< ServiceMonitorRootSm > serviceMonitorRootSm_;
   Kel::Child< LaunchSm > launchSm_;
};
KEL_FACTORY( agentFactory, Agent )

}  // namespace QorClient
