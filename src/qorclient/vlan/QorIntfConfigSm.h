#pragma once

#include "platform/kel/StateMachine.h"
#include "qorclient/agent/Status.h"
#include "records/bridging/SwitchIntfConfig.h"
#include "records/qor/PolicyFragment.h"

namespace QorClient {

namespace DatapathV1 {
class KelPolicyFragment;
class PolicyFragmentSm;
}  // namespace DatapathV1

/**
 * Watches the native VLAN of one interface that carries hosts: when it moves to or from the VLAN
 * of a fragment, the fragment's host-intercept flows on the interface are built anew. At its start
 * it only notes the present VLAN, and it leaves flows of other kinds alone.
 */
class QorIntfConfigSm : public Kel::StateMachine {
   KEL_STATE_MACHINE( QorClient::QorIntfConfigSm )

   // Inputs.
   KEL_GIVEN( Wirekit::IntfId, intfId )
   KEL_REACTOR( KelSwitchIntfConfig, Bridging::Input::SwitchIntfConfig const, switchIntfConfig,
                KEL_ON( trunkNativeVlan, handleTrunkNativeVlan ) )
   KEL_GIVEN( Kel::Ptr< Qor::V1::QorPolicyFragment const >, polFragConfig )
   KEL_GIVEN( Kel::Ptr< QorClient::Status const >, agentStatus )
   /** Owns this machine. Through it the fragments are reached whose flows are built anew. */
   KEL_GIVEN( DatapathV1::PolicyFragmentSm *, parent )

   // Own state.
   KEL_OWN( Bridging::VlanId, currentNativeVlan )
   KEL_OWN( bool, initialized )

   static Wirekit::IntfId keyOf( Wirekit::IntfId intfId, auto const &... ) { return intfId; }

   // Handlers.
   void handleInitialized() override;
   void handleTrunkNativeVlan();
};
KEL_FACTORY( qorIntfConfigSmFactory, QorIntfConfigSm )

/** Removes and installs the fragment's host-intercept flows that have a host on the interface, once
 *  for each such host. */
void reinstallFlows( Wirekit::IntfId intfId, Kel::Ptr< PolicyFragmentInfo const > const & fragInfo,
                     Kel::Ptr< DatapathV1::KelPolicyFragment > const & policyFragment );

}  // namespace QorClient
