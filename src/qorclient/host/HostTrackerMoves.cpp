// Moves: a host comes, goes, and is found at another place.

#include "platform/flashlog/DualLog.h"
#include "qorclient/host/HostTrackerSm.h"
#include "qorclient/host/ReportedPlace.h"

KEL_TRACE_UNIT( "HostTrackerSm", "QorClientHostTrackerSm" )

namespace QorClient {

using Bridging::MacVlanPair;
using Wirekit::IntfId;

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

}  // namespace QorClient
