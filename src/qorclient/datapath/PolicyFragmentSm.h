#pragma once

#include "platform/kel/Dir.h"
#include "platform/kel/StateMachine.h"
#include "qorclient/agent/QorClientLocalTypes.h"
#include "qorclient/agent/Status.h"
#include "qorclient/datapath/KelPolicyFragment.h"
#include "qorclient/datapath/PfHwStatusSm.h"
#include "qorclient/flowtable/HwStatus.h"
#include "qorclient/flowtable/PinFlowHwConfig.h"
#include "qorclient/vlan/QorIntfConfigSm.h"
#include "records/bridging/Config.h"
#include "records/bridging/SwitchIntfConfig.h"
#include "records/l2rib/HostInput.h"
#include "records/mlag/HostTable.h"
#include "records/qor/PolicyFragment.h"
#include "records/qor/PolicyFragmentStatus.h"
#include "records/routing/VirtualRouterMacStatus.h"
#include "records/slab/BridgingStatus.h"

namespace QorClient::DatapathV1 {

/**
 * The supervisor of the L2 datapath: one KelPolicyFragment per service policy fragment. It routes
 * what is keyed by VNI or by host to the fragment concerned, keeps the map from service VLANs to
 * original VLANs, and clears away at its start the reports and bindings that an earlier life has
 * left behind. It never touches a rule itself: those of a fragment that went while the agent was
 * away stay.
 */
class PolicyFragmentSm : public Kel::StateMachine {
   KEL_STATE_MACHINE( QorClient::DatapathV1::PolicyFragmentSm )

   // Inputs.
   KEL_REACTOR( KelPolFragConfig, Qor::V1::QorPolicyFragment const, polFragConfig,
                KEL_ON( policyFragment, handlePolicyFragment ) )
   KEL_GIVEN( Kel::Ptr< Slab::Bridging::Status const >, slabBrStatus )
   KEL_GIVEN( Kel::Ptr< Bridging::Config const >, brConfig )
   KEL_REACTOR( KelSwitchIntfConfigDir, Bridging::SwitchIntfConfigDir const, switchIntfConfigDir,
                KEL_ON( switchIntfConfig, handleSwitchIntfConfig ) )
   KEL_GIVEN( Kel::Ptr< Qor::V1::QorPolicyFragmentStatus >, polFragStatus )
   KEL_REACTOR( KelAgentStatus, QorClient::Status, agentStatus,
                KEL_ROWS( KEL_ON( vlanForVni, handleVlanForVni )
                          KEL_ON( warmHost, handleWarmHost )
                          KEL_ON( warmHostRefCount, handleWarmHostRefCount )
                          KEL_ON( ruleStateForRuleName, handleRuleState ) ) )
   KEL_GIVEN( Kel::Ptr< OpenFlowTable::PinFlowHwConfig >, pfHwConfig )
   KEL_GIVEN( Kel::Ptr< OpenFlowTable::HwStatus const >, pfHwStatus )
   KEL_SINGLETON( QorClient::LocalData, localData )
   KEL_GIVEN( Kel::Ptr< Mlag::HostTable const >, mlagHostTable )
   KEL_GIVEN( Kel::Ptr< Routing::Fhrp::VirtualRouterMacStatus const >, fhrpGlideMacStatus )
   KEL_GIVEN( Kel::Ptr< Kel::Dir const >, nimbusVniBaseDir )
   KEL_GIVEN( Kel::Ptr< L2Rib::HostInput >, l2RibQorHostInput )
   KEL_GIVEN( Kel::Ptr< OpenFlowTable::HwStatus const >, ofHwStatus )

   // Children and own state.
   KEL_CHILD( PfHwStatusSm, pfHwStatusSm )
   KEL_CHILDREN_BY_KEY( Wirekit::IntfId, QorIntfConfigSm, qorIntfConfigSm )
   /** The fragment that answers for a VNI, and the one that intercepts a host. Both are lost with
    *  the process and filled again as fragments and flows are read. */
   KEL_OWN_MAP( Vxlan::VniExtOrNone, Kel::String, policyFragmentForVni )
   KEL_OWN_MAP( Bridging::MacVlanPair, Kel::String, policyFragmentForHost )
   using KelPolicyFragment = DatapathV1::KelPolicyFragment;
   KEL_NESTED( Kel::String, KelPolicyFragment, policyFragment )
   /** The service VLAN last entered for a service VNI, so that it can be taken out again after the
    *  VNI has lost its VLAN. */
   KEL_OWN_MAP( Vxlan::VniExtOrNone, Bridging::VlanId, shadowServiceVniToVlan )
   KEL_OWN( bool, initialized )

   Kel::Ptr< KelPolicyFragment > kelPolicyFragment( Kel::String const & name ) const {
      return policyFragment( name );
   }

   // For the fragments.
   void addServiceVlanToOriginalVlan( Vxlan::VniExtOrNone serviceVni,
                                      Vxlan::VniExtOrNone originalVni );
   void removeServiceVlanToOriginalVlan( Vxlan::VniExtOrNone serviceVni );

   /** For the owner, before it drops the machine: everything published goes. */
   void doPrepareToDie();

   void createNestedReactors() override;
   void handleInitialized() override;

   // Handlers.
   void handlePolicyFragment( Kel::String const & fragmentName );
   void handleSwitchIntfConfig( Wirekit::IntfId intfId );
   void handleSwitchIntfConfig();
   void handleVlanForVni( Vxlan::VniExtOrNone vni );
   void handleVlanForVni();
   void handleWarmHost( Bridging::MacVlanPair const & host );
   void handleWarmHost();
   void handleWarmHostRefCount( Wirekit::IntfId intfId );
   void handleRuleState( Kel::String const & ruleName );

 private:
   void deletePolicyFragment( Kel::String const & fragmentName );
   void deleteStaleStatus();
   void deleteStaleBindings();
   void deleteStaleL2RibHosts();
   bool isL2RibHostWanted( L2Rib::Host const & host ) const;
   /** The fragment that a map names; traces and yields null when there is none. */
   Kel::Ptr< KelPolicyFragment > routedFragment( Kel::String const & fragmentName ) const;
};
KEL_FACTORY( policyFragmentSmFactory, PolicyFragmentSm )

}  // namespace QorClient::DatapathV1
