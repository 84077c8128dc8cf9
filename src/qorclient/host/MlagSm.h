#pragma once

#include "platform/kel/StateMachine.h"
#include "platform/orb/Clock.h"
#include "qorclient/agent/QorClientLocalTypes.h"
#include "qorclient/agent/Status.h"
#include "qorclient/host/WarmHosts.h"
#include "records/bridging/AllowedVlans.h"
#include "records/mlag/Config.h"
#include "records/mlag/Status.h"
#include "records/mlagp2p/Status.h"

namespace QorClient {

/**
 * Publishes the MLAG peer link and has it carry the agent's VLANs. It shares the trunk group with
 * the machine that allows VLANs on interfaces, and neither looks at what the other has entered.
 */
class MlagSm : public Kel::StateMachine {
   KEL_STATE_MACHINE( QorClient::MlagSm )

   // Inputs.
   KEL_REACTOR( KelMlagConfig, Mlag::Config const, mlagConfig,
                KEL_ON( peerLinkIntfId, handlePeerLinkIntf ) )
   KEL_GIVEN( Kel::Ptr< Bridging::Input::TrunkGroup >, qorTrunkGroup )
   KEL_GIVEN( Kel::Ptr< QorClient::Status >, agentStatus )

   // Own state.
   KEL_OWN( bool, initialized )

   Wirekit::IntfId cachedPeerLinkIntfId() const { return agentStatus()->cachedPeerLinkIntfId(); }
   Wirekit::IntfId peerLinkIntfId() const { return mlagConfig()->peerLinkIntfId(); }

   // Operations.
   void removePeerLinkIntf();
   /** For the owner, before it drops the machine: the trunk group is left clean. */
   void destroy();

   // Handlers.
   void handleInitialized() override;
   void handlePeerLinkIntf();
};
KEL_FACTORY( mlagSmFactory, MlagSm )

/**
 * While this switch is the secondary of its pair: copies the peer's warm hosts into this switch's,
 * and every `cleanupInterval` removes those that the peer doesn't have. In another role it does
 * nothing, and what it has copied stays.
 */
class QorClientMlagPluginCopySm : public Kel::StateMachine {
   KEL_STATE_MACHINE( QorClient::QorClientMlagPluginCopySm )

   // Inputs.
   KEL_GIVEN( Kel::Ptr< QorClient::Status >, agentStatus )
   KEL_REACTOR( KelQorClientPluginStateCopy, MlagP2p::QorClient::Status const,
                qorClientPluginStateCopy, KEL_ON( warmHost, handlePeerWarmHost ) )
   KEL_REACTOR( KelMlagStatus, Mlag::Status const, mlagStatus,
                KEL_ON( mlagState, handleMlagState ) )
   KEL_SINGLETON( LocalData const, localData )
   KEL_OWN_REACTOR( KelCleanupClock, Kel::Clock, cleanupClock,
                    KEL_ON( timeMin, cleanupWarmHostTable ) )

   // Own state.
   static constexpr Kel::Seconds cleanupInterval = 900.0;
   /** True in the role of the secondary alone. */
   KEL_OWN( bool, initialized )

   // Operations, as the host tracker has them.
   void addHost( Bridging::MacVlanPair const & macVlan, Wirekit::IntfId intfId );
   void removeHost( Bridging::MacVlanPair const & macVlan );
   void warmHostRefCountDec( Wirekit::IntfId intfId ) { uncountWarmHost( *agentStatus(), intfId ); }

   // Handlers.
   /** Also runs for each change of the role. */
   void handleInitialized() override;
   void handlePeerWarmHost( Bridging::MacVlanPair const & host );
   void handlePeerWarmHost();
   void handleMlagState();
   void cleanupWarmHostTable();
};
KEL_FACTORY( qorClientMlagPluginCopySmFactory, QorClientMlagPluginCopySm )

}  // namespace QorClient
