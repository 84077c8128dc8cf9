#include "qorclient/host/MlagSm.h"

#include "platform/flashlog/DualLog.h"

KEL_TRACE_UNIT( "MlagSm", "QorClientMlag" )

KEL_MACHINE_TYPE( QorClient::MlagSm )
KEL_MACHINE_TYPE( QorClient::QorClientMlagPluginCopySm )

namespace QorClient {

using Bridging::MacVlanPair;
using Wirekit::IntfId;

// --- MlagSm ---

void MlagSm::handleInitialized() {
   KEL_TRACE_SCOPE();
   initializedIs( true );
   handlePeerLinkIntf();
}

void MlagSm::handlePeerLinkIntf() {
   KEL_TRACE_SCOPE();
   if ( !initialized() ) {
      KEL_TRACE_INFO( "Not initialized" );
      return;
   }
   removePeerLinkIntf();
   IntfId const peerLink = peerLinkIntfId();
   agentStatus()->cachedPeerLinkIntfIdIs( peerLink );
   if ( peerLink ) {
      KEL_TRACE_INFO( "Adding new intfid: ", peerLink );
      qorTrunkGroup()->intfListIs( peerLink, true );
   }
}

void MlagSm::removePeerLinkIntf() {
   KEL_TRACE_SCOPE();
   if ( IntfId const old = cachedPeerLinkIntfId() ) {
      KEL_TRACE_INFO( "Removing old intfid: ", old );
      qorTrunkGroup()->intfListDel( old );
      agentStatus()->cachedPeerLinkIntfIdIs( IntfId() );
   }
}

void MlagSm::destroy() {
   KEL_TRACE_SCOPE();
   initializedIs( false );
   removePeerLinkIntf();
}

// --- QorClientMlagPluginCopySm ---

void QorClientMlagPluginCopySm::handleInitialized() {
   KEL_TRACE_SCOPE();
   if ( !cleanupClock() ) {
      // A clock that has only been made must not have the table cleaned.
      cleanupClockArm( Kel::clockFactory( localData()->scheduler() ) );
   }
   if ( mlagStatus()->mlagState() != Mlag::MlagState::secondary ) {
      KEL_TRACE_INFO( "Not secondary. return" );
      initializedIs( false );
      cleanupClock()->timeMinIs( Orb::endOfTime );
      return;
   }
   initializedIs( true );
   handlePeerWarmHost();
   cleanupClock()->timeMinIs( cleanupClock()->currentTime() + cleanupInterval );
}

void QorClientMlagPluginCopySm::handleMlagState() {
   KEL_TRACE_SCOPE();
   handleInitialized();
}

void QorClientMlagPluginCopySm::handlePeerWarmHost( MacVlanPair const & host ) {
   KEL_TRACE_SCOPE( " mac: ", host.mac, " vlan: ", host.vlanId );
   if ( !initialized() ) {
      KEL_TRACE_INFO( "Not initialized" );
      return;
   }
   if ( !qorClientPluginStateCopy()->warmHostHas( host ) ) {
      removeHost( host );
      return;
   }
   IntfId const newIntf = qorClientPluginStateCopy()->warmHost( host );
   IntfId const oldIntf = agentStatus()->warmHost( host );
   if ( newIntf == oldIntf ) {
      KEL_TRACE_INFO( "Host location unchanged" );
   } else {
      KEL_TRACE_INFO( "Host is moved to", newIntf, " from ", oldIntf );
      addHost( host, newIntf );
      if ( oldIntf ) {
         warmHostRefCountDec( oldIntf );
      }
   }
}

void QorClientMlagPluginCopySm::handlePeerWarmHost() {
   KEL_TRACE_SCOPE();
   if ( initialized() ) {
      for ( MacVlanPair const & host : qorClientPluginStateCopy()->warmHostKeys() ) {
         handlePeerWarmHost( host );
      }
      cleanupWarmHostTable();
   }
}

void QorClientMlagPluginCopySm::cleanupWarmHostTable() {
   KEL_TRACE_SCOPE();
   for ( auto const & [host, intf] : agentStatus()->warmHost() ) {
      if ( !qorClientPluginStateCopy()->warmHostHas( host ) ) {
         KEL_TRACE_INFO( "remove stale host ", host, intf );
         removeHost( host );
      }
   }
   cleanupClock()->timeMinIs( cleanupClock()->currentTime() + cleanupInterval );
}

void QorClientMlagPluginCopySm::addHost( MacVlanPair const & macVlan, IntfId intfId ) {
   KEL_TRACE_SCOPE( " mac: ", macVlan.mac, " vlan: ", macVlan.vlanId, " intf: ", intfId );
   addWarmHost( *agentStatus(), macVlan, intfId );
}

void QorClientMlagPluginCopySm::removeHost( MacVlanPair const & macVlan ) {
   KEL_TRACE_SCOPE( " mac: ", macVlan.mac, " vlan: ", macVlan.vlanId );
   removeWarmHost( *agentStatus(), macVlan );
}

}  // namespace QorClient
