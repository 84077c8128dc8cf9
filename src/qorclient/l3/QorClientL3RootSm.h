#pragma once

#include "qorclient/l3/QorClientL3FragmentSm.h"
#include "qorclient/l3/QorClientL3GroupSm.h"

namespace QorClientL3::V1 {

/**
 * The root of the routed side: groups and their members on one hand, flows on the other. It only
 * fixes their order: flows come after the groups that they name, and go before them.
 */
class RootSm : public Kel::StateMachine {
   KEL_STATE_MACHINE( QorClientL3::V1::RootSm )

   // Inputs.
   KEL_GIVEN( Kel::Ptr< Kel::Dir const >, groupTypeConfigDir )
   KEL_GIVEN( Kel::Ptr< QorL3::V1::GroupTypeStatus >, groupTypeStatus )
   KEL_GIVEN( Kel::Ptr< Kel::Dir const >, groupSetConfigDir )
   KEL_GIVEN( Kel::Ptr< Kel::Dir >, groupSetStatusDir )
   KEL_GIVEN( Kel::Ptr< Kel::Dir const >, fragmentConfigDir )
   KEL_GIVEN( Kel::Ptr< Kel::Dir >, fragmentStatusDir )
   KEL_GIVEN( Kel::Ptr< OpenFlowTable::PinFlowHwConfig >, pfHwConfig )
   KEL_GIVEN( Kel::Ptr< OpenFlowTable::HwStatus const >, pfHwStatus )

   // Children and own state.
   KEL_CHILD( GroupSm, groupSm )
   KEL_CHILD( FragmentSm, fragmentSm )
   KEL_OWN( bool, initialized )

   void handleInitialized() override;
   void cleanup();

 protected:
   void handleEnd() override { cleanup(); }
};
KEL_FACTORY( rootSmFactory, RootSm )

}  // namespace QorClientL3::V1
