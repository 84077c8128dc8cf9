#include "qorclient/l3/MemberSetStatusVniSm.h"

#include <sstream>

#include "platform/flashlog/DualLog.h"
#include "qorclient/l3/TrafficEndPoint.h"

KEL_TRACE_UNIT( "QorClientL3GroupSm", "QorClientL3GroupSm" )

KEL_MACHINE_TYPE( QorClientL3::V1::MemberStatusSm )
KEL_MACHINE_TYPE( QorClientL3::V1::MemberSetStatusVniSm )

namespace QorClientL3::V1 {

using OpenFlowTable::TrafficStreamEndPointId;
using QorL3::V1::MemberKey;
using QorL3::V1::MemberStatus;
using QorL3::V1::State;

namespace {

MemberKey memberKeyOf( TrafficStreamEndPointId const & endPoint ) {
   return { 0, endPoint.ip, endPoint.mac };
}

}  // namespace

MemberKey MemberStatusSm::key() const {
   return memberKeyOf( endPoint() );
}

void MemberStatusSm::handleInitialized() {
   KEL_TRACE_SCOPE();
   initializedIs( true );
   handleStatus();
}

void MemberStatusSm::handleStatus() {
   if ( !initialized() ) {
      KEL_TRACE_INFO( "Not initialized" );
      return;
   }
   KEL_TRACE_SCOPE( "VRF: ", vrf(), " VNI: ", vni() );
   MemberStatus status{ key(), State::pending, {}, memberConfig().flag };
   auto const answer = endPointStatus()->status();
   if ( isMemberStateActive( answer ) ) {
      KEL_TRACE_INFO( "TrafficEndPoint ", endPoint().stringValue(), " is active" );
      status.state = State::active;
   } else if ( isMemberStatePending( answer ) ) {
      KEL_TRACE_INFO( "TrafficEndPoint ", endPoint().stringValue(), " is pending" );
   } else if ( isMemberStateError( answer ) ) {
      KEL_TRACE_INFO( "TrafficEndPoint ", endPoint().stringValue(), " is erroring" );
      status.state = State::error;
   } else {
      KEL_TRACE_INFO( "TrafficEndPoint ", endPoint().stringValue(),
                      " has unknown state: ", answer );
      status.state = State::error;
      std::ostringstream detail;
      detail << "Member has unknown state: " << answer;
      status.detail = detail.str();
   }
   memberSetStatus()->statusIs( status );
}

void MemberStatusSm::cleanup() {
   KEL_TRACE_SCOPE();
   memberSetStatus()->statusDel( key() );
   initializedIs( false );
}

void MemberSetStatusVniSm::handleInitialized() {
   KEL_TRACE_SCOPE( "VRF: ", vrf(), " Group: ", groupName(), " VNI: ", vni() );
   initializedIs( true );
   pfHwStatusWants( vrf(), true );
   handleMember();
}

void MemberSetStatusVniSm::updateMember( MemberKey const & key ) {
   KEL_TRACE_SCOPE( " ip: ", key.ip, " mac: ", key.mac );
   Vxlan::VniExt const vniExt = vni();
   auto const status = memberSetStatus();
   TrafficStreamEndPointId const id =
      endPointIdOf( vrf(), key, vtepInfo()->vniToVlanMap( vniExt ) );
   QorL3::V1::Member const memberConfig = memberSetConfig()->member( key );
   Kel::Ptr< OpenFlowTable::TrafficStreamEndPointStatus const > const endPoint =
      pfHwStatus()->trafficEndPointStatus( id );
   bool const isReported = endPoint && endPoint->groupName() == groupName();
   // The end of the machine removes the row.
   memberStatusSmDel( id );
   if ( !isReported ) {
      status->statusDel( key );
   }
   if ( memberConfig == QorL3::V1::Member{} ) {
      return;
   }
   if ( isReported ) {
      memberStatusSmIs( memberConfig, endPoint, vni(), vrf(), status );
   } else {
      KEL_TRACE_INFO( "EndPoint status is not avaialble" );
      static Kel::String const detail = "No member status";
      status->statusIs( { key, State::pending, detail, memberConfig.flag } );
   }
}

bool MemberSetStatusVniSm::isApplicableTrafficEndPoint(
   TrafficStreamEndPointId const & endPoint ) const {
   if ( endPoint.vrf != vrf() ) {
      return false;
   }
   Vxlan::VniExt const vniExt = vni();
   auto const vtepInfo = this->vtepInfo();
   return vtepInfo->vniToVlanMapHas( vniExt ) &&
          endPoint.vlan == Bridging::VlanIdOrNone( vtepInfo->vniToVlanMap( vniExt ) );
}

void MemberSetStatusVniSm::handleMember( MemberKey const & key ) {
   if ( !initialized() ) {
      KEL_TRACE_INFO( "Not initialized" );
      return;
   }
   KEL_TRACE_SCOPE( "VRF: ", vrf(), " Group: ", groupName(), " VNI: ", vni() );
   updateMember( key );
}

void MemberSetStatusVniSm::handleMember() {
   KEL_TRACE_SCOPE( "VRF: ", vrf(), " Group: ", groupName(), " VNI: ", vni() );
   if ( !initialized() ) {
      KEL_TRACE_INFO( "Not initialized" );
      return;
   }
   for ( MemberKey const & key : memberSetStatus()->statusKeys() ) {
      if ( memberSetConfig()->member( key ) == QorL3::V1::Member{} ) {
         KEL_TRACE_INFO( "VRF: ", vrf(), " Group: ", groupName(), " VNI: ", vni(),
                         "Removing status, IP: ", key.ip, " Mac: ", key.mac );
         memberSetStatus()->statusDel( key );
      }
   }
   for ( MemberKey const & key : memberSetConfig()->memberKeys() ) {
      handleMember( key );
   }
}

void MemberSetStatusVniSm::handleEndPointStatus( TrafficStreamEndPointId const & endPoint ) {
   if ( !initialized() || !isApplicableTrafficEndPoint( endPoint ) ) {
      return;
   }
   KEL_TRACE_SCOPE( "VRF: ", vrf(), " Group: ", groupName(), " VNI: ", vni() );
   updateMember( memberKeyOf( endPoint ) );
}

void MemberSetStatusVniSm::cleanup() {
   KEL_TRACE_SCOPE( "VRF: ", vrf(), " Group: ", groupName(), " VNI: ", vni() );
   memberSetStatus()->statusDelAll();
   memberStatusSmDelAll();
   initializedIs( false );
}

}  // namespace QorClientL3::V1
