#include "qorclient/l3/MemberSetConfigVniSm.h"

#include "platform/flashlog/DualLog.h"
#include "qorclient/l3/TrafficEndPoint.h"

KEL_TRACE_UNIT( "QorClientL3GroupSm", "QorClientL3GroupSm" )

KEL_MACHINE_TYPE( QorClientL3::V1::MemberSetConfigVniSm )

namespace QorClientL3::V1 {

void MemberSetConfigVniSm::handleInitialized() {
   KEL_TRACE_SCOPE( "VRF: ", vrf(), " Group: ", groupName(), " VNI: ", vni() );
   initializedIs( true );
   handleMember();
}

void MemberSetConfigVniSm::handleMember( QorL3::V1::MemberKey const & key ) {
   if ( !initialized() ) {
      KEL_TRACE_INFO( "Not initialized" );
      return;
   }
   KEL_TRACE_SCOPE( "VRF: ", vrf(), " Group: ", groupName(), " VNI: ", vni(), " ip: ", key.ip );
   OpenFlowTable::TrafficStreamEndPointId const id = endPointIdOf( vrf(), key, vlan() );
   if ( memberSetConfig()->member( key ) == QorL3::V1::Member{} ) {
      KEL_TRACE_INFO( "VRF: ", vrf(), " Group: ", groupName(), " VNI: ", vni(),
                      " ip: ", "member removed ", key.ip );
      pfHwConfig()->trafficEndPointDel( id );
   } else {
      KEL_TRACE_INFO( "VRF: ", vrf(), " Group: ", groupName(), " VNI: ", vni(),
                      " ip: ", "member added ", key.ip );
      pfHwConfig()->trafficEndPointIs( id, groupName() );
   }
}

void MemberSetConfigVniSm::handleMember() {
   KEL_TRACE_SCOPE( "VRF: ", vrf(), " Group: ", groupName(), " VNI: ", vni() );
   for ( QorL3::V1::MemberKey const & key : memberSetConfig()->memberKeys() ) {
      handleMember( key );
   }
}

void MemberSetConfigVniSm::cleanup() {
   KEL_TRACE_SCOPE( "VRF: ", vrf(), " Group: ", groupName(), " VNI: ", vni() );
   for ( QorL3::V1::MemberKey const & key : memberSetConfig()->memberKeys() ) {
      pfHwConfig()->trafficEndPointDel( endPointIdOf( vrf(), key, vlan() ) );
   }
   initializedIs( false );
}

}  // namespace QorClientL3::V1
