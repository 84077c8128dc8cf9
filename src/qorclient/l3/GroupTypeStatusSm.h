#pragma once

#include "platform/kel/StateMachine.h"
#include "qorclient/l3/TrafficStreamState.h"
#include "records/qorl3/GroupType.h"

namespace QorClientL3::V1 {

/** Reports what the hardware made of one traffic group, for as long as the hardware reports it. */
class PerGroupTypeStatusSm : public Kel::StateMachine {
   KEL_STATE_MACHINE( QorClientL3::V1::PerGroupTypeStatusSm )

   // Inputs.
   KEL_GIVEN( Kel::Ptr< QorL3::V1::GroupTypeStatus >, groupTypeStatus )
   KEL_REACTOR( KelGroupHwStatus, OpenFlowTable::TrafficStreamGroupHwStatus const, groupHwStatus,
                KEL_ON( status, handleStatus ) )

   // Own state.
   KEL_OWN( bool, initialized )

   static constexpr std::size_t keyInput = 1;
   static Kel::String keyOf(
      auto const &,
      Kel::Ptr< OpenFlowTable::TrafficStreamGroupHwStatus const > const & groupHwStatus ) {
      return groupHwStatus->name();
   }
   Kel::String groupName() const { return groupHwStatus()->name(); }
   OpenFlowTable::TrafficStreamStatus groupStatus() const { return groupHwStatus()->status(); }

   bool isGroupStateActive() const { return isTrafficStreamActive( groupStatus() ); }
   bool isGroupStatePending() const { return isTrafficStreamPending( groupStatus() ); }
   bool isGroupStateError() const { return isTrafficStreamError( groupStatus() ); }

   void handleInitialized() override;
   void cleanup();

   // Handlers.
   void handleStatus();

 protected:
   void handleEnd() override { cleanup(); }
};
KEL_FACTORY( perGroupTypeStatusSmFactory, PerGroupTypeStatusSm )

/**
 * The state of the traffic groups: a PerGroupTypeStatusSm for each that the hardware reports,
 * configured or not. Status of groups that are no longer configured is cleared at the start alone.
 */
class GroupTypeStatusSm : public Kel::StateMachine {
   KEL_STATE_MACHINE( QorClientL3::V1::GroupTypeStatusSm )

   // Inputs.
   KEL_GIVEN( Kel::Ptr< QorL3::V1::GroupTypeStatus >, groupTypeStatus )
   KEL_GIVEN( Kel::Ptr< QorL3::V1::GroupTypeConfig const >, groupTypeConfig )
   KEL_REACTOR( KelPfHwStatus, OpenFlowTable::HwStatus const, pfHwStatus,
                KEL_ON( trafficGroupStatus, handleGroupType ) )

   // Children and own state.
   KEL_CHILDREN_BY_KEY( Kel::String, PerGroupTypeStatusSm, perGroupTypeStatusSm )
   KEL_OWN( bool, initialized )

   void handleInitialized() override;
   void cleanup();

   // Handlers.
   void handleGroupType( Kel::Name const & name );
   void handleGroupType();

 protected:
   void handleEnd() override { cleanup(); }
};
KEL_FACTORY( groupTypeStatusSmFactory, GroupTypeStatusSm )

}  // namespace QorClientL3::V1
