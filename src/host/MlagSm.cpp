#include "host/MlagSm.h"

#include "agent/QorClientLocalTypes.h"
#include "platform/flashlog/DualLog.h"

KEL_TRACE_UNIT( "MlagSm", "QorClientMlag" )

KEL_MACHINE_TYPE( QorClient::MlagSm )
KEL_MACHINE_TYPE( QorClient::QorClientMlagPluginCopySm )

namespace QorClient {

using Bridging::MacVlanPair;
using Wirekit::IntfId;

// --- MlagSm ---

void MlagSm::handleInitialized() {
   KEL_TRACE_ENTRY();
   initializedIs( true );
   handlePeerLinkIntf();
   KEL_TRACE_RETURN();
}

void MlagSm::handlePeerLinkIntf() {
   KEL_TRACE_ENTRY();
   if ( !initialized() ) {
      return;
   }
   removePeerLinkIntf();
   IntfId const peerLink = peerLinkIntfId();
   agentStatus()->cachedPeerLinkIntfIdIs( peerLink );
   if ( peerLink ) {
      KEL_TRACE_INFO( "Adding new intfid: ", peerLink );
      qorTrunkGroup()->intfListIs( peerLink, true );
   }
   KEL_TRACE_RETURN();
}

void MlagSm::removePeerLinkIntf() {
   KEL_TRACE_ENTRY();
   if ( IntfId const old = cachedPeerLinkIntfId() ) {
      KEL_TRACE_INFO( "Removing old intfid: ", old );
      qorTrunkGroup()->intfListDel( old );
      agentStatus()->cachedPeerLinkIntfIdIs( IntfId() );
   }
   KEL_TRACE_RETURN();
}

void MlagSm::destroy() {
   KEL_TRACE_ENTRY();
   initializedIs( false );
   removePeerLinkIntf();
   KEL_TRACE_RETURN();
}

// --- QorClientMlagPluginCopySm ---

void QorClientMlagPluginCopySm::handleInitialized() {
   KEL_TRACE_ENTRY();
   if ( !cleanupClock() ) {
      // A clock that has only been made must not have the table cleaned.
      cleanupClockArm(
         Kel::Ptr< Kel::Clock >( new Kel::Clock( LocalData::singleton()->scheduler() ) ) );
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
   KEL_TRACE_RETURN();
}

void QorClientMlagPluginCopySm::handleMlagState() {
   KEL_TRACE_ENTRY();
   handleInitialized();
   KEL_TRACE_RETURN();
}

void QorClientMlagPluginCopySm::handlePeerWarmHost( MacVlanPair const & host ) {
   KEL_TRACE_ENTRY( " mac: ", host.mac, " vlan: ", host.vlanId );
   if ( !initialized() ) {
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
   KEL_TRACE_RETURN();
}

void QorClientMlagPluginCopySm::handlePeerWarmHost() {
   KEL_TRACE_ENTRY();
   if ( initialized() ) {
      for ( MacVlanPair const & host : qorClientPluginStateCopy()->warmHostKeys() ) {
         handlePeerWarmHost( host );
      }
      cleanupWarmHostTable();
   }
   KEL_TRACE_RETURN();
}

void QorClientMlagPluginCopySm::cleanupWarmHostTable() {
   KEL_TRACE_ENTRY();
   for ( auto const & [host, intf] : agentStatus()->warmHost() ) {
      if ( !qorClientPluginStateCopy()->warmHostHas( host ) ) {
         KEL_TRACE_INFO( "remove stale host ", host, " ", intf );
         removeHost( host );
      }
   }
   cleanupClock()->timeMinIs( cleanupClock()->currentTime() + cleanupInterval );
   KEL_TRACE_RETURN();
}

void QorClientMlagPluginCopySm::addHost( MacVlanPair const & macVlan, IntfId intfId ) {
   KEL_TRACE_ENTRY( " mac: ", macVlan.mac, " vlan: ", macVlan.vlanId, " intf: ", intfId );
   agentStatus()->warmHostIs( macVlan, intfId );
   agentStatus()->warmHostRefCountIs( intfId, agentStatus()->warmHostRefCount( intfId ) + 1 );
   KEL_TRACE_RETURN();
}

void QorClientMlagPluginCopySm::removeHost( MacVlanPair const & macVlan ) {
   KEL_TRACE_ENTRY( " mac: ", macVlan.mac, " vlan: ", macVlan.vlanId );
   IntfId const intf = agentStatus()->warmHost( macVlan );
   agentStatus()->warmHostDel( macVlan );
   warmHostRefCountDec( intf );
   KEL_TRACE_RETURN();
}

void QorClientMlagPluginCopySm::warmHostRefCountDec( IntfId intfId ) {
   std::uint32_t const count = agentStatus()->warmHostRefCount( intfId );
   if ( count > 1 ) {
      agentStatus()->warmHostRefCountIs( intfId, count - 1 );
   } else {
      agentStatus()->warmHostRefCountDel( intfId );
   }
}

}  // namespace QorClient
