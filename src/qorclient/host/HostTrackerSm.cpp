#include "qorclient/host/HostTrackerSm.h"

#include "platform/flashlog/DualLog.h"
#include "platform/kel/Assert.h"

KEL_TRACE_UNIT( "HostTrackerSm", "QorClientHostTrackerSm" )

KEL_MACHINE_TYPE( QorClient::HostTrackerSm )

namespace QorClient {

using Bridging::HostKey;
using Bridging::MacVlanPair;
using Bridging::VlanId;
using Mlag::HostEntryKey;
using Wirekit::IntfId;

namespace {

/**
 * One run of a drain: processes keys, each once, from the bookmark on and around the end to what
 * lies before it, until the backlog is empty or the run's slice is used. Yields the next bookmark.
 */
template < class K, class Process >
K drain( Kel::HashMap2018< K, Kel::Nothing > & backlog, K const & bookmark, Orb::Task & task,
         Process && process ) {
   using Cursor = typename Kel::HashMap2018< K, Kel::Nothing >::Cursor;
   Cursor cursor = bookmark == K() ? Cursor( backlog ) : Cursor( backlog, bookmark );
   std::uint64_t count = 0;
   K next;
   while ( cursor ) {
      K const key = cursor.member()->key;
      process( key );
      backlog.erase( key );
      cursor.advance();
      if ( !cursor ) {
         cursor = Cursor( backlog );
      }
      ++count;
      if ( task.taskShouldYield() && cursor ) {
         next = cursor.member()->key;
         break;
      }
   }
   task.taskWorkCountInc( count );
   task.taskWorkPendingIs( backlog.size() );
   if ( cursor ) {
      task.scheduleTask();
   }
   return next;
}

}  // namespace

void HostTrackerSm::handleInitialized() {
   KEL_TRACE_SCOPE();
   initializedIs( true );
   fdbTaskIs( localData()->scheduler(), agentTaskPriority, "fdbTask" );
   mlagHostTableTaskIs( localData()->scheduler(), agentTaskPriority, "mlagHostTableTask" );
   handleSwitchIntfConfig();
   handleBoundHost();
   handleCachedPeerLinkIntfId();
}

// --- Backlogs ---

void HostTrackerSm::handleFdbStatus( HostKey const & key ) {
   KEL_TRACE_SCOPE( " fid: ", key.fid, " mac: ", key.addr );
   if ( !initialized() ) {
      KEL_TRACE_INFO( "Not initialized" );
      return;
   }
   fdbBacklogIs( key );
   fdbTask()->scheduleTask();
}

void HostTrackerSm::handleHostEntry( HostEntryKey const & key ) {
   KEL_TRACE_SCOPE( " vlan: ", key.vlanId, " mac: ", key.address );
   if ( !initialized() ) {
      KEL_TRACE_INFO( "Not initialized" );
      return;
   }
   mlagHostTableBacklogIs( key );
   mlagHostTableTask()->scheduleTask();
}

void HostTrackerSm::drainFdbBacklog() {
   KEL_TRACE_SCOPE();
   if ( !initialized() ) {
      KEL_TRACE_INFO( "Not initialized" );
      return;
   }
   Kel::Ptr< Orb::Task > const task = fdbTask();
   fdbBookmarkIs( drain( fdbBacklog_, fdbBookmark(), *task,
                         [this]( HostKey const & key ) { handleLearning( key ); } ) );
}

void HostTrackerSm::drainMlagHostTableBacklog() {
   KEL_TRACE_SCOPE();
   if ( !initialized() ) {
      KEL_TRACE_INFO( "Not initialized" );
      return;
   }
   Kel::Ptr< Orb::Task > const task = mlagHostTableTask();
   mlagHostTableBookmarkIs(
      drain( mlagHostTableBacklog_, mlagHostTableBookmark(), *task,
             [this]( HostEntryKey const & key ) { processHostEntryBacklog( key ); } ) );
}

// --- What policy and configuration say ---

void HostTrackerSm::handleBoundHost( MacVlanPair const & key ) {
   KEL_TRACE_SCOPE( " mac: ", key.mac, " vlan: ", key.vlanId );
   if ( !initialized() ) {
      KEL_TRACE_INFO( "Not initialized" );
      return;
   }
   if ( !agentStatus()->boundHostHas( key ) ) {
      removeHost( key );
      return;
   }
   KEL_TRACE_INFO( "Try adding the host to the warmHost collection" );
   handleLearning( getHostKey( key.vlanId, key.mac ) );
   VlanId const svc = getServiceVlan( key.vlanId );
   if ( svc == key.vlanId ) {
      // Without a service VLAN the peer's hosts are not consulted.
      return;
   }
   KEL_TRACE_INFO( "Try learning on service vlan ", svc, " as well" );
   handleLearning( getHostKey( svc, key.mac ) );
   if ( !agentStatus()->warmHostHas( key ) ) {
      KEL_TRACE_INFO( "Try learning from Mlag Peer Table" );
      addHostFromMlagHostTable( svc, key.mac );
   }
}

void HostTrackerSm::handleBoundHost() {
   KEL_TRACE_SCOPE();
   KEL_TRACE_INFO( "ResyncInProgress: ", agentStatus()->resyncInProgress() );
   if ( !initialized() ) {
      KEL_TRACE_INFO( "Not initialized" );
      return;
   }
   if ( !agentStatus()->resyncInProgress() ) {
      clearStaleWarmHosts();
   }
   for ( MacVlanPair const & key : agentStatus()->boundHostKeys() ) {
      handleBoundHost( key );
   }
}

void HostTrackerSm::handleBoundHostsOnVlan( VlanId vlan ) {
   KEL_TRACE_SCOPE( " vlan: ", vlan );
   for ( MacVlanPair const & key : agentStatus()->boundHostKeys() ) {
      if ( key.vlanId == vlan ) {
         handleBoundHost( key );
      }
   }
}

void HostTrackerSm::handleResyncInProgress() {
   KEL_TRACE_SCOPE();
   if ( !initialized() ) {
      KEL_TRACE_INFO( "Not initialized" );
      return;
   }
   KEL_ASSERT( !agentStatus()->resyncInProgress(), "HostTrackerSm" );
   clearStaleWarmHosts();
}

void HostTrackerSm::handleCachedPeerLinkIntfId() {
   IntfId const peerLink = agentStatus()->cachedPeerLinkIntfId();
   KEL_TRACE_SCOPE( " peerLink: ", peerLink );
   if ( !peerLink ) {
      KEL_TRACE_INFO( " peerlink is removed. return" );
      return;
   }
   removeHostsOnIntf( peerLink );
}

void HostTrackerSm::handleVidToFidMap( VlanId vid ) {
   KEL_TRACE_SCOPE( " vlan: ", vid );
   vidForFidKnown_ = false;
   if ( !initialized() ) {
      KEL_TRACE_INFO( "Not initialized" );
      return;
   }
   handleBoundHostsOnVlan( vid );
}

void HostTrackerSm::handleServiceToOriginalVlan( VlanId vid ) {
   KEL_TRACE_SCOPE( " vlan: ", vid );
   if ( !initialized() ) {
      KEL_TRACE_INFO( "Not initialized" );
      return;
   }
   if ( localData()->serviceToOriginalVlanHas( vid ) ) {
      VlanId const ovlan = localData()->serviceToOriginalVlan( vid );
      KEL_TRACE_INFO( "Mapping added service vlan: ", vid, " to orginal vlan: ", ovlan );
      handleBoundHostsOnVlan( ovlan );
   }
}

void HostTrackerSm::handleSwitchIntfConfig( IntfId intfId ) {
   KEL_TRACE_SCOPE( " intfId: ", intfId );
   if ( !initialized() ) {
      KEL_TRACE_INFO( "Not initialized" );
      return;
   }
   if ( !switchIntfConfigDir()->switchIntfConfigHas( intfId ) ) {
      KEL_TRACE_INFO( "Deleting all hosts learned on: ", intfId );
      removeHostsOnIntf( intfId );
   }
}

void HostTrackerSm::handleSwitchIntfConfig() {
   KEL_TRACE_SCOPE();
   if ( !initialized() ) {
      KEL_TRACE_INFO( "Not initialized" );
      return;
   }
   for ( auto const & [host, intf] : agentStatus()->warmHost() ) {
      if ( !switchIntfConfigDir()->switchIntfConfigHas( intf ) ) {
         removeHost( host );
      }
   }
}

}  // namespace QorClient
