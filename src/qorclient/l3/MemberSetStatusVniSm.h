#pragma once

#include "platform/kel/StateMachine.h"
#include "qorclient/agent/QorClientLocalTypes.h"
#include "qorclient/l3/TrafficStreamState.h"
#include "records/qorl3/GroupSetConfig.h"
#include "records/qorl3/GroupSetStatus.h"

namespace QorClientL3::V1 {

/** Reports what the hardware made of one member, for as long as the hardware reports it. */
class MemberStatusSm : public Kel::StateMachine {
   KEL_STATE_MACHINE( QorClientL3::V1::MemberStatusSm )

   // Inputs.
   KEL_GIVEN( QorL3::V1::Member, memberConfig )
   KEL_REACTOR( KelEndPointStatus, OpenFlowTable::TrafficStreamEndPointStatus const, endPointStatus,
                KEL_ON( status, handleStatus ) )
   KEL_GIVEN( Vxlan::Vni, vni )
   KEL_GIVEN( L3::VrfName, vrf )
   KEL_GIVEN( Kel::Ptr< QorL3::V1::MemberSetStatus >, memberSetStatus )

   // Own state.
   KEL_OWN( bool, initialized )

   static constexpr std::size_t keyInput = 1;
   static OpenFlowTable::TrafficStreamEndPointId keyOf(
      auto const &,
      Kel::Ptr< OpenFlowTable::TrafficStreamEndPointStatus const > const & endPointStatus,
      auto const &... ) {
      return endPointStatus->id();
   }
   OpenFlowTable::TrafficStreamEndPointId endPointId() const { return endPointStatus()->id(); }
   OpenFlowTable::TrafficStreamEndPointId endPoint() const { return endPointId(); }
   QorL3::V1::MemberKey key() const;

   bool isMemberStateActive( OpenFlowTable::TrafficStreamStatus status ) const {
      return isTrafficStreamActive( status );
   }
   bool isMemberStatePending( OpenFlowTable::TrafficStreamStatus status ) const {
      return isTrafficStreamPending( status );
   }
   bool isMemberStateError( OpenFlowTable::TrafficStreamStatus status ) const {
      return isTrafficStreamError( status );
   }

   void handleInitialized() override;
   void cleanup();

   // Handlers.
   void handleStatus();

 protected:
   void handleEnd() override { cleanup(); }
};
KEL_FACTORY( memberStatusSmFactory, MemberStatusSm )

struct VrfOf {
   L3::VrfName operator()( OpenFlowTable::TrafficStreamEndPointId const & endPoint ) const {
      return endPoint.vrf;
   }
};

/**
 * The state of the hosts of one group, VRF and VNI. Each configured member has a status row: from
 * a MemberStatusSm where the hardware reports its end point under this group, pending otherwise.
 *
 * It reads the VNI's VLAN but does not watch it: the end points that the configuration side writes
 * under a new VLAN come back from the hardware.
 */
class MemberSetStatusVniSm : public Kel::StateMachine {
   KEL_STATE_MACHINE( QorClientL3::V1::MemberSetStatusVniSm )

   // Inputs.
   KEL_GIVEN( Kel::String, groupName )
   KEL_GIVEN( Vxlan::Vni, vni )
   KEL_GIVEN( L3::VrfName, vrf )
   KEL_GIVEN( Kel::Ptr< QorL3::V1::MemberSetStatus >, memberSetStatus )
   KEL_REACTOR( KelMemberSetConfig, QorL3::V1::MemberSetConfig const, memberSetConfig,
                KEL_ON( member, handleMember ) )
   /** Hears of the end points of this VRF alone. */
   KEL_REACTOR_BY_KEY( KelPfHwStatus, OpenFlowTable::HwStatus const, pfHwStatus,
                       trafficEndPointStatus, VrfOf, handleEndPointStatus )
   KEL_SINGLETON( QorClient::LocalData const, localData )
   Kel::Ptr< QorClient::VtepInfo const > vtepInfo() const { return localData()->vtepInfo(); }

   // Children and own state.
   KEL_CHILDREN_BY_KEY( OpenFlowTable::TrafficStreamEndPointId, MemberStatusSm, memberStatusSm )
   KEL_OWN( bool, initialized )

   static Vxlan::Vni keyOf( auto const &, Vxlan::Vni vni, auto const &... ) { return vni; }

   /** Writes the member's row anew, or removes it. */
   void updateMember( QorL3::V1::MemberKey const & key );
   /** True for an end point of this VRF and VNI, of whatever group. */
   bool isApplicableTrafficEndPoint(
      OpenFlowTable::TrafficStreamEndPointId const & endPoint ) const;

   void handleInitialized() override;
   void cleanup();

   // Handlers.
   void handleMember( QorL3::V1::MemberKey const & key );
   void handleMember();
   void handleEndPointStatus( OpenFlowTable::TrafficStreamEndPointId const & endPoint );

 protected:
   void handleEnd() override { cleanup(); }
};
KEL_FACTORY( memberSetStatusVniSmFactory, MemberSetStatusVniSm )

}  // namespace QorClientL3::V1
