#include "qorclient/host/HostTrackerSm.h"

#include "platform/flashlog/DualLog.h"
#include "platform/kel/Assert.h"
#include "qorclient/agent/QorClientUtils.h"
#include "qorclient/host/ReportedPlace.h"

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

// --- What the tables say ---

std::uint32_t HostTrackerSm::getVidForFid( std::uint32_t fid ) {
   KEL_TRACE_SCOPE( " fid: ", fid );
   if ( !vidForFidKnown_ ) {
      vidForFid_ = {};
      for ( auto const & [vid, mapped] : bridgingConfig()->vidToFidMap() ) {
         if ( !vidForFid_.has( mapped ) ) {
            vidForFid_.set( mapped, vid );
         }
      }
      vidForFidKnown_ = true;
   }
   if ( VlanId const * vid = vidForFid_.find( fid ) ) {
      return vid->value();
   }
   KEL_TRACE_INFO( "return vid=fid=", fid );
   return fid;
}

HostKey HostTrackerSm::getHostKey( VlanId vid, Wirekit::EthAddr const & mac ) const {
   return bridgingConfig()->hostKey( vid, mac );
}

VlanId HostTrackerSm::getServiceVlan( VlanId oVlan ) const {
   KEL_TRACE_SCOPE( " vlan: ", oVlan );
   VlanId found = oVlan;
   for ( auto const & [service, original] : localData()->serviceToOriginalVlan() ) {
      if ( original == oVlan ) {
         found = service;
         break;
      }
   }
   KEL_TRACE_INFO( " returning ", found );
   return found;
}

bool HostTrackerSm::isServiceIntf( IntfId intf ) const {
   return QorClient::isServiceIntf( *agentStatus(), intf );
}

void HostTrackerSm::handleLearning( HostKey const & key ) {
   KEL_TRACE_SCOPE( " fid: ", key.fid, " mac: ", key.addr );
   if ( !initialized() ) {
      return;
   }
   Slab::Bridging::SlabFdbStatus const row = slabBridgingStatus()->fdbStatus( key );
   VlanId const vid( static_cast< VlanId::Number >( getVidForFid( key.fid ) ) );
   VlanId vlan = vid;
   if ( localData()->serviceToOriginalVlanHas( vid ) ) {
      vlan = localData()->serviceToOriginalVlan( vid );
      KEL_TRACE_INFO( "Host ", key.addr, " is learnt on a service vlan ", vid,
                      ". Check if we have a boundHost on corresponding ", "original vlan ", vlan );
   }
   MacVlanPair const host{ key.addr, vlan };
   if ( !agentStatus()->boundHostHas( host ) ) {
      KEL_TRACE_INFO( "No policies attached to the host ", key.addr, " vid: ", vlan );
      return;
   }
   if ( isLearntHost( row.entryType ) ) {
      updateHostLocation( host, row.intf );
   } else {
      KEL_TRACE_INFO( "Host is not learnt locally or on peer, return" );
   }
}

void HostTrackerSm::processHostEntryBacklog( HostEntryKey const & key ) {
   KEL_TRACE_SCOPE( " vlan: ", key.vlanId, " mac: ", key.address );
   if ( !initialized() ) {
      return;
   }
   if ( localData()->serviceToOriginalVlanHas( key.vlanId ) ) {
      VlanId const ovlan = localData()->serviceToOriginalVlan( key.vlanId );
      if ( agentStatus()->boundHostHas( { key.address, ovlan } ) ) {
         addHostFromMlagHostTable( key.vlanId, key.address );
      }
   }
}

void HostTrackerSm::addHostFromMlagHostTable( VlanId vid, Wirekit::EthAddr const & mac ) {
   KEL_TRACE_SCOPE( " vlan: ", vid, " mac: ", mac );
   VlanId const serviceVlan = vid;
   Mlag::HostEntry const entry = mlagHostTable()->hostEntry( { serviceVlan, mac } );
   if ( entry == Mlag::HostEntry() || entry.unusable ) {
      return;
   }
   KEL_TRACE_INFO( "Mlag hostTable contains host: ", mac, " in: ", serviceVlan );
   if ( isVti( entry.intf ) ) {
      return;
   }
   IntfId const intf( entry.intf );
   if ( intf == agentStatus()->cachedPeerLinkIntfId() ) {
      return;
   }
   KEL_TRACE_INFO( " Learned against an Mlag intf: ", intf );
   KEL_ASSERT( localData()->serviceToOriginalVlanHas( serviceVlan ), "HostTrackerSm" );
   updateHostLocation( { mac, localData()->serviceToOriginalVlan( serviceVlan ) }, intf );
}

// --- Where a host is ---

void HostTrackerSm::updateHostLocation( MacVlanPair const & macVlan, IntfId newIntf ) {
   KEL_TRACE_SCOPE( " mac: ", macVlan.mac, " vlan: ", macVlan.vlanId, " intf: ", newIntf );
   IntfId const oldIntf = agentStatus()->warmHost( macVlan );
   auto const vlanConfig = bridgingConfig()->vlanConfig( macVlan.vlanId );
   KEL_TRACE_INFO( "Host: ", macVlan.mac, " vlan: ", macVlan.vlanId, " oldIntf: ", oldIntf,
                   " newIntf: ", newIntf, " vlanConfig: ", bool( vlanConfig ) );
   switch ( reportedPlace( *agentStatus(), *bridgingConfig(), *switchIntfConfigDir(),
                           macVlan.vlanId, newIntf ) ) {
      case ReportedPlace::none:
         // The host ages out of the tables, and stays where it was.
         return;
      case ReportedPlace::serviceIntf:
         KEL_TRACE_INFO( "Host is moved to a service intf" );
         break;
      case ReportedPlace::outsideVlan:
         KEL_TRACE_INFO( "NewIntf is not a member of the VLAN" );
         break;
      case ReportedPlace::withoutConfig:
         KEL_TRACE_INFO( "Intf config is not present for the host" );
         removeHost( macVlan );
         break;
      case ReportedPlace::peerLink:
         KEL_TRACE_INFO( "Host is moved to peerlink: ", newIntf );
         removeHost( macVlan );
         break;
      case ReportedPlace::usable:
         if ( newIntf == oldIntf ) {
            KEL_TRACE_INFO( "Host location unchanged" );
            break;
         }
         addHost( macVlan, newIntf );
         if ( oldIntf ) {
            warmHostRefCountDec( oldIntf );
         }
   }
}

void HostTrackerSm::addHost( MacVlanPair const & macVlan, IntfId intfId ) {
   KEL_TRACE_SCOPE( " mac: ", macVlan.mac, " vlan: ", macVlan.vlanId, " intf: ", intfId );
   addWarmHost( *agentStatus(), macVlan, intfId );
}

void HostTrackerSm::removeHost( MacVlanPair const & macVlan ) {
   KEL_TRACE_SCOPE( " mac: ", macVlan.mac, " vlan: ", macVlan.vlanId );
   removeWarmHost( *agentStatus(), macVlan );
}

void HostTrackerSm::clearStaleWarmHosts() {
   KEL_TRACE_SCOPE();
   for ( MacVlanPair const & host : agentStatus()->warmHostKeys() ) {
      if ( !agentStatus()->boundHostHas( host ) ) {
         removeHost( host );
      }
   }
}

void HostTrackerSm::removeHostsOnIntf( IntfId intf ) {
   for ( auto const & [host, hostIntf] : agentStatus()->warmHost() ) {
      if ( hostIntf == intf ) {
         removeHost( host );
      }
   }
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
