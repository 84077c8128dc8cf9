#pragma once

#include "platform/kel/StateMachine.h"
#include "qorclient/flowtable/HwStatus.h"
#include "records/l3/VrfName.h"
#include "records/qorl3/FlowConfig.h"
#include "records/qorl3/FragmentStatus.h"

namespace QorClientL3::V1 {

/** The row of a configured flow of which nothing is known: pending. */
QorL3::V1::FlowStatus unknownFlowStatus( QorL3::V1::FlowConfig const & flowConfig );

/** Reports what the hardware made of one flow, as it was configured when the machine was made. */
class FlowStatusSm : public Kel::StateMachine {
   KEL_STATE_MACHINE( QorClientL3::V1::FlowStatusSm )

   // Inputs.
   KEL_GIVEN( L3::VrfName, vrf )
   KEL_GIVEN( QorL3::V1::FlowGroupOrder, order )
   KEL_GIVEN( QorL3::V1::FlowConfig, flowConfig )
   KEL_REACTOR( KelFlowStats, OpenFlowTable::FlowStats const, flowStats,
                KEL_ON( status, handleStatus ) )
   KEL_GIVEN( Kel::Ptr< QorL3::V1::FlowGroupStatus >, flowGroupStatus )

   // Own state.
   KEL_OWN( bool, initialized )

   static Kel::String keyOf( auto const &, auto const &, QorL3::V1::FlowConfig const & flowConfig,
                             auto const &... ) {
      return flowConfig.name;
   }
   Kel::String flowName() const { return flowConfig_.name; }

   // At most one of these is true; an answer for which none is counts as an error as well.
   static bool isFlowActive( OpenFlowTable::FlowStatus flowStatus );
   static bool isFlowPending( OpenFlowTable::FlowStatus flowStatus );
   static bool isFlowError( OpenFlowTable::FlowStatus flowStatus );

   void handleInitialized() override;
   void cleanup();

   // Handlers.
   void handleStatus();

 protected:
   void handleEnd() override { cleanup(); }
};
KEL_FACTORY( flowStatusSmFactory, FlowStatusSm )

}  // namespace QorClientL3::V1
