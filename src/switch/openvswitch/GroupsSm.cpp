#include "switch/openvswitch/GroupsSm.h"

#include "switch/openvswitch/GroupFlows.h"

KEL_MACHINE_TYPE( OpenVSwitch::GroupsSm )

namespace OpenVSwitch {

using OpenFlowTable::FlowStatus;
using OpenFlowTable::TrafficStreamEndPointId;
using OpenFlowTable::TrafficStreamStatus;

namespace {

/** The key of the step that goes to next hops; no end point is called so. */
constexpr std::string_view redirectKey = "redirect";

}  // namespace

void GroupsSm::handleInitialized() {
   bridge()->book().changed( *this, Kel::String( redirectKey ) );
   handleTrafficGroup();
   handleTrafficEndPoint();
}

// --- Groups, which are numbers alone ---

void GroupsSm::handleTrafficGroup( Kel::Name const & name ) {
   if ( !pfHwConfig()->trafficGroupHas( name ) ) {
      pfHwStatus()->trafficGroupStatusDel( name );
   } else if ( !pfHwStatus()->trafficGroupStatusHas( name ) ) {
      pfHwStatus()->trafficGroupStatusIs( name )->statusIs( TrafficStreamStatus::active );
   }
   // A rule may have waited for it.
   bridge()->book().retryRefused();
}

void GroupsSm::handleTrafficGroup() {
   for ( Kel::Name const & name : pfHwStatus()->trafficGroupStatusKeys() ) {
      handleTrafficGroup( name );
   }
   for ( Kel::Name const & name : pfHwConfig()->trafficGroupKeys() ) {
      handleTrafficGroup( name );
   }
}

// --- End points ---

void GroupsSm::handleTrafficEndPoint( TrafficStreamEndPointId const & id ) {
   Kel::String const key( id.stringValue() );
   ids_[key] = id;
   bridge()->book().changed( *this, key );
}

void GroupsSm::handleTrafficEndPoint() {
   for ( TrafficStreamEndPointId const & id : pfHwStatus()->trafficEndPointStatusKeys() ) {
      if ( !pfHwConfig()->trafficEndPointHas( id ) ) {
         pfHwStatus()->trafficEndPointStatusDel( id );
      }
   }
   for ( TrafficStreamEndPointId const & id : pfHwConfig()->trafficEndPointKeys() ) {
      handleTrafficEndPoint( id );
   }
}

void GroupsSm::handleVirtualRouterMac() {
   bridge()->book().changed( *this );
}

WantedFlows GroupsSm::flows( Kel::String const & key ) {
   WantedFlows wanted;
   if ( key.view() == redirectKey ) {
      wanted.flows = redirectFlows( virtualRouter()->virtualRouterMac() );
      return wanted;
   }
   TrafficStreamEndPointId const & id = ids_.at( key );
   if ( !pfHwConfig()->trafficEndPointHas( id ) ) {
      return wanted;
   }
   Wirekit::EthAddr const router = virtualRouter()->virtualRouterMac();
   if ( router.isZero() ) {
      wanted.refused = { FlowStatus::refused8, "there is no virtual router" };
   } else if ( !id.ip ) {
      wanted.refused = { FlowStatus::refused10, "it has no address" };
   } else {
      wanted.flows = endPointFlows( id, pfHwConfig()->trafficEndPoint( id ), router );
      wanted.exclusive = true;
   }
   return wanted;
}

void GroupsSm::answered( Kel::String const & key, Answer const & answer ) {
   if ( key.view() == redirectKey ) {
      if ( answer.status != FlowStatus::active ) {
         bridge()->warn( "the bridge refuses the flows of next hops: " + answer.reason );
      }
      return;
   }
   TrafficStreamEndPointId const & id = ids_.at( key );
   if ( !pfHwConfig()->trafficEndPointHas( id ) ) {
      return;
   }
   TrafficStreamStatus const status =
      answer.status == FlowStatus::active      ? TrafficStreamStatus::active
      : answer.status == FlowStatus::tableFull ? TrafficStreamStatus::refused2
                                               : TrafficStreamStatus::refused3;
   Kel::String const group = pfHwConfig()->trafficEndPoint( id );
   auto const row = pfHwStatus()->trafficEndPointStatus( id );
   if ( status != TrafficStreamStatus::active && !( row && row->status() == status ) ) {
      bridge()->warn( "end point " + key.stringValue() + " is refused (" +
                      std::to_string( static_cast< unsigned >( status ) ) + "): " + answer.reason );
   }
   if ( row ) {
      row->groupNameIs( group );
      row->statusIs( status );
      return;
   }
   // Complete when the agent hears of it.
   pfHwStatus()
      ->fwkType()
      .attribute( "trafficEndPointStatus" )
      ->childIs( *pfHwStatus(), key.view(), nullptr, [&]( Kel::Entity & entity ) {
         auto & fresh = static_cast< OpenFlowTable::TrafficStreamEndPointStatus & >( entity );
         fresh.groupNameIs( group );
         fresh.statusIs( status );
      } );
}

void GroupsSm::removed( Kel::String const & key ) {
   pfHwStatus()->trafficEndPointStatusDel( ids_.at( key ) );
   ids_.erase( key );
}

}  // namespace OpenVSwitch
