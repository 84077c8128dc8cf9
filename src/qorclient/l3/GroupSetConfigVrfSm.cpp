#include "qorclient/l3/GroupSetConfigVrfSm.h"

#include "platform/flashlog/DualLog.h"
#include "qorclient/l3/EndPointCache.h"
#include "qorclient/l3/TrafficEndPoint.h"

KEL_TRACE_UNIT( "QorClientL3GroupSm", "QorClientL3GroupSm" )

KEL_MACHINE_TYPE( QorClientL3::V1::GroupSetConfigVrfSm )

namespace QorClientL3::V1 {

void GroupSetConfigVrfSm::handleInitialized() {
   KEL_TRACE_SCOPE();
   buildCachedEndPointsIs( true );
   initializedIs( true );
   handleGroupMemberConfig();
   buildCachedEndPointsIs( false );
}

void GroupSetConfigVrfSm::handleGroupMemberConfig( Kel::String const & groupName ) {
   if ( !initialized() ) {
      KEL_TRACE_INFO( "Not initialized" );
      return;
   }
   KEL_TRACE_SCOPE( "VRF: ", vrf(), " groupName: ", groupName );
   Kel::Ptr< QorL3::V1::GroupMemberConfig const > const member =
      groupSetConfig()->group( groupName );
   if ( member ) {
      KEL_TRACE_INFO( "VRF: ", vrf(), " groupName: ", groupName );
      KEL_TRACE_INFO( "group added ", groupName );
      Kel::Ptr< QorClient::VtepInfo const > const vtepInfo = this->vtepInfo();
      groupMemberConfigSmIs( groupName, member, vrf(), pfHwConfig(), vtepInfo );
      for ( auto const & [vni, memberSet] : member->memberSet() ) {
         Vxlan::VniExt const vniExt = Vxlan::Vni( vni );
         if ( !vtepInfo->vniToVlanMapHas( vniExt ) ) {
            KEL_TRACE_INFO( " No vlan can be found for vni: ", vni );
            continue;
         }
         writeEndPoints( groupName, memberSet, vtepInfo->vniToVlanMap( vniExt ) );
      }
   } else {
      KEL_TRACE_INFO( "group removed ", groupName );
      if ( auto const memberSm = groupMemberConfigSm( groupName ) ) {
         memberSm->cleanup();
      }
      groupMemberConfigSmDel( groupName );
   }
}

void GroupSetConfigVrfSm::writeEndPoints(
   Kel::String const & groupName, Kel::Ptr< QorL3::V1::MemberSetConfig const > const & memberSet,
   Bridging::VlanIdOrNone vlan ) {
   auto const table = pfHwConfig();
   auto const cache = cachedPfHwConfig();
   auto const mayStayEmpty = dynamic_cast< EndPointCache const * >( cache.ptr() );
   bool const isCacheNeeded = !mayStayEmpty || mayStayEmpty->isNeeded();
   for ( QorL3::V1::MemberKey const & key : memberSet->memberKeys() ) {
      OpenFlowTable::TrafficStreamEndPointId const id = endPointIdOf( vrf(), key, vlan );
      table->trafficEndPointIs( id, groupName );
      if ( buildCachedEndPoints() ) {
         KEL_TRACE_INFO( "Adding to cache: ", id.stringValue() );
         if ( isCacheNeeded ) {
            cache->trafficEndPointIs( id, groupName );
         }
      }
   }
}

void GroupSetConfigVrfSm::handleGroupMemberConfig() {
   KEL_TRACE_SCOPE( "VRF: ", vrf() );
   for ( Kel::String const & groupName : groupSetConfig()->groupKeys() ) {
      handleGroupMemberConfig( groupName );
   }
}

void GroupSetConfigVrfSm::cleanup() {
   KEL_TRACE_SCOPE( "VRF: ", vrf() );
   for ( auto const & [groupName, memberSm] : groupMemberConfigSm() ) {
      memberSm->cleanup();
   }
   groupMemberConfigSmDelAll();
   // `initialized` stays: after a clean-up that the owner calls, the machine goes on until it is
   // dropped.
}

}  // namespace QorClientL3::V1
