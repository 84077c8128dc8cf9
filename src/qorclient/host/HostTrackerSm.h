#pragma once

#include <cstdint>

#include "platform/kel/StateMachine.h"
#include "platform/orb/Task.h"
#include "qorclient/agent/QorClientLocalTypes.h"
#include "qorclient/agent/Status.h"
#include "qorclient/host/WarmHosts.h"
#include "records/bridging/Config.h"
#include "records/bridging/SwitchIntfConfig.h"
#include "records/mlag/HostTable.h"
#include "records/slab/BridgingStatus.h"

namespace QorClient {

/**
 * Follows the hosts that some flow intercepts: policy asks by `boundHost`, the tracker answers by
 * `warmHost`, the interface on which each of them is reachable now, and `warmHostRefCount`, the
 * number of them on each interface.
 *
 * A change of the forwarding database or of the MLAG peer's hosts is not worked on inside its
 * notification: it is noted in a backlog, which a task of its own drains in slices. A host that
 * ages out of the tables stays where it was last known.
 *
 * Its source is one file a subject: HostTrackerSm.cpp (life, backlogs, what policy and
 * configuration say), HostTrackerLearning.cpp (what the tables say) and HostTrackerMoves.cpp (a
 * host comes, moves and goes).
 */
class HostTrackerSm : public Kel::StateMachine {
   KEL_STATE_MACHINE( QorClient::HostTrackerSm )

   // Inputs.
   KEL_REACTOR( KelSlabBridgingStatus, Slab::Bridging::Status const, slabBridgingStatus,
                KEL_ON( fdbStatus, handleFdbStatus ) )
   KEL_REACTOR( KelBridgingConfig, Bridging::Config const, bridgingConfig,
                KEL_ON( vidToFidMap, handleVidToFidMap ) )
   KEL_REACTOR( KelSwitchIntfConfigDir, Bridging::SwitchIntfConfigDir const, switchIntfConfigDir,
                KEL_ON( switchIntfConfig, handleSwitchIntfConfig ) )
   KEL_REACTOR( KelMlagHostTable, Mlag::HostTable const, mlagHostTable,
                KEL_ON( hostEntry, handleHostEntry ) )
   KEL_REACTOR( KelAgentStatus, QorClient::Status, agentStatus,
                KEL_ROWS( KEL_ON( boundHost, handleBoundHost )
                          KEL_ON( cachedPeerLinkIntfId, handleCachedPeerLinkIntfId )
                          KEL_ON( resyncInProgress, handleResyncInProgress ) ) )
   KEL_SINGLETON_REACTOR( KelLocalData, LocalData const, localData,
                          KEL_ON( serviceToOriginalVlan, handleServiceToOriginalVlan ) )

   // Own state. A bookmark is where the last run of a drain stopped; the default key for nowhere.
   KEL_TASK( KelFdbTask, Orb::Task, fdbTask, drainFdbBacklog )
   KEL_OWN_SET( Bridging::HostKey, fdbBacklog )
   KEL_OWN( Bridging::HostKey, fdbBookmark )
   KEL_TASK( KelMlagHostTableTask, Orb::Task, mlagHostTableTask, drainMlagHostTableBacklog )
   KEL_OWN_SET( Mlag::HostEntryKey, mlagHostTableBacklog )
   KEL_OWN( Mlag::HostEntryKey, mlagHostTableBookmark )
   KEL_OWN( bool, initialized )

   // Operations.
   /** Looks at one forwarding entry and takes up what it says of a bound host. */
   void handleLearning( Bridging::HostKey const & key );
   /** The same for an entry of the peer's hosts; only those on service VLANs count. */
   void processHostEntryBacklog( Mlag::HostEntryKey const & key );
   /** `vid` is a service VLAN, which is asserted once there is something to take up. */
   void addHostFromMlagHostTable( Bridging::VlanId vid, Wirekit::EthAddr const & mac );
   /** Takes up a place of a bound host, or refuses it; one that is no place for it removes it. */
   void updateHostLocation( Bridging::MacVlanPair const & macVlan, Wirekit::IntfId newIntf );
   void addHost( Bridging::MacVlanPair const & macVlan, Wirekit::IntfId intfId );
   /** Harmless for an unknown host, whose empty interface is then counted down. */
   void removeHost( Bridging::MacVlanPair const & macVlan );
   void warmHostRefCountDec( Wirekit::IntfId intfId ) { uncountWarmHost( *agentStatus(), intfId ); }
   /** Removes hosts that no flow intercepts any more. */
   void clearStaleWarmHosts();
   /** The service VLAN of an original VLAN; the VLAN itself when it has none. */
   Bridging::VlanId getServiceVlan( Bridging::VlanId oVlan ) const;
   Bridging::HostKey getHostKey( Bridging::VlanId vid, Wirekit::EthAddr const & mac ) const;
   /** The first VLAN that is mapped to the fid; the fid itself when there is none. */
   std::uint32_t getVidForFid( std::uint32_t fid );
   /** Whether some fragment has bound a VNI on the interface, as a member of a set. */
   bool isServiceIntf( Wirekit::IntfId intf ) const;

   // Handlers.
   void handleInitialized() override;
   void handleFdbStatus( Bridging::HostKey const & key );
   void handleVidToFidMap( Bridging::VlanId vid );
   void handleSwitchIntfConfig( Wirekit::IntfId intfId );
   void handleSwitchIntfConfig();
   void handleHostEntry( Mlag::HostEntryKey const & key );
   void handleBoundHost( Bridging::MacVlanPair const & key );
   void handleBoundHost();
   /** The one handler that works before the machine is initialized. */
   void handleCachedPeerLinkIntfId();
   void handleResyncInProgress();
   void handleServiceToOriginalVlan( Bridging::VlanId vid );
   void drainFdbBacklog();
   void drainMlagHostTableBacklog();

 private:
   void handleBoundHostsOnVlan( Bridging::VlanId vlan );
   void removeHostsOnIntf( Wirekit::IntfId intf );

   // The inverse of `vidToFidMap`, so that a burst of changes doesn't walk that map for each of
   // them. Made when first needed; a change of the map drops it.
   Kel::HashMap2018< std::uint32_t, Bridging::VlanId > vidForFid_;
   bool vidForFidKnown_ = false;
};
KEL_FACTORY( hostTrackerSmFactory, HostTrackerSm )

}  // namespace QorClient
