#pragma once

#include "platform/kel/StateMachine.h"
#include "qorclient/flowtable/PinFlowHwConfig.h"
#include "records/qorl3/GroupType.h"

namespace QorClientL3::V1 {

/**
 * Turns each configured group into a traffic group of the flow table. Of a group's type it knows
 * only whether there is one.
 */
class GroupTypeConfigSm : public Kel::StateMachine {
   KEL_STATE_MACHINE( QorClientL3::V1::GroupTypeConfigSm )

   // Inputs.
   KEL_REACTOR( KelGroupTypeConfig, QorL3::V1::GroupTypeConfig const, groupTypeConfig,
                KEL_ON( group, handleGroupType ) )
   KEL_GIVEN( Kel::Ptr< OpenFlowTable::PinFlowHwConfig >, pfHwConfig )

   // Own state.
   KEL_OWN( bool, initialized )

   void handleInitialized() override;
   void cleanup();

   // Handlers.
   void handleGroupType( Kel::String const & name );
   void handleGroupType();

 protected:
   void handleEnd() override { cleanup(); }
};
KEL_FACTORY( groupTypeConfigSmFactory, GroupTypeConfigSm )

}  // namespace QorClientL3::V1
