// Learning: what the tables say of a host.

#include "platform/flashlog/DualLog.h"
#include "platform/kel/Assert.h"
#include "qorclient/agent/QorClientUtils.h"
#include "qorclient/host/HostTrackerSm.h"
#include "qorclient/host/ReportedPlace.h"

KEL_TRACE_UNIT( "HostTrackerSm", "QorClientHostTrackerSm" )

namespace QorClient {

using Bridging::HostKey;
using Bridging::MacVlanPair;
using Bridging::VlanId;
using Mlag::HostEntryKey;
using Wirekit::IntfId;

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

}  // namespace QorClient
