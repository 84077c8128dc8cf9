#pragma once

#include <functional>

#include "qorclient/flowtable/PinFlowHwConfig.h"
#include "qorclient/l3/FlowStatusSm.h"
#include "records/qorl3/FragmentConfig.h"

namespace QorClientL3::V1 {

/**
 * The state of one flow group. Each configured flow has a status row, one that is disabled or was
 * not installed too: from a FlowStatusSm where the hardware reports the flow, pending otherwise.
 *
 * It never asks whether the flow that the hardware reports under a name is that of its own group.
 */
class FlowGroupStatusSm : public Kel::StateMachine {
   KEL_STATE_MACHINE( QorClientL3::V1::FlowGroupStatusSm )

   // Inputs.
   KEL_GIVEN( L3::VrfName, vrf )
   /** Watched for the names alone that it holds. */
   KEL_REACTOR( KelFlowGroupStatus, QorL3::V1::FlowGroupStatus, flowGroupStatus,
                KEL_ON( flow, handleStatusRow ) )
   KEL_REACTOR( KelFlowGroupConfig, QorL3::V1::FlowGroupConfig const, flowGroupConfig,
                KEL_ON( flow, handleFlowStatus ) )
   /** Hears of the flows alone that this group configures or has a status row of. */
   KEL_REACTOR_BY_KEY( KelPfHwStatus, OpenFlowTable::HwStatus const, pfHwStatus, flowStats,
                       std::identity, handleFlowStatus )
   KEL_GIVEN( Kel::Ptr< OpenFlowTable::PinFlowHwConfig const >, pfHwConfig )

   // Children and own state.
   KEL_CHILDREN_BY_KEY( Kel::String, FlowStatusSm, flowStatusSm )
   KEL_OWN( bool, initialized )

   static constexpr std::size_t keyInput = 1;
   static QorL3::V1::FlowGroupOrder keyOf(
      auto const &, Kel::Ptr< QorL3::V1::FlowGroupStatus > const & flowGroupStatus,
      auto const &... ) {
      return flowGroupStatus->order();
   }
   QorL3::V1::FlowGroupOrder order() const { return flowGroupStatus()->order(); }

   void handleInitialized() override;
   void cleanup();

   // Handlers.
   void handleFlowStatus( Kel::String const & name );
   void handleFlowStatus();
   void handleStatusRow( Kel::String const & name );

 protected:
   void handleEnd() override { cleanup(); }
};
KEL_FACTORY( flowGroupStatusSmFactory, FlowGroupStatusSm )

}  // namespace QorClientL3::V1
