#pragma once

#include <set>

#include "platform/kel/StateMachine.h"
#include "platform/orb/DelayedWork.h"
#include "qorclient/flowtable/HwStatus.h"
#include "qorclient/flowtable/PinFlowHwConfig.h"
#include "scenario/simulated/Settings.h"

namespace Scenarios::Simulated {

/**
 * The hardware's agent in small, for one flow table: answers each new flow entry, group and end
 * point with programmed, and drops the answer when the entry goes. Flow entries beyond the
 * capacity are refused, and programmed in the order of the refusals when others go. An entry that
 * is overwritten keeps its answer; one that goes and comes back is answered anew.
 */
class FlowTableSm : public Kel::StateMachine {
   KEL_STATE_MACHINE( Scenarios::Simulated::FlowTableSm )

   // Inputs.
   KEL_REACTOR( KelPfHwConfig, OpenFlowTable::PinFlowHwConfig const, pfHwConfig,
                KEL_ROWS( KEL_ON( flowEntry, handleFlowEntry )
                          KEL_ON( trafficGroup, handleTrafficGroup )
                          KEL_ON( trafficEndPoint, handleTrafficEndPoint ) ) )
   KEL_GIVEN( Kel::Ptr< OpenFlowTable::HwStatus >, pfHwStatus )
   KEL_GIVEN( Kel::Ptr< Orb::DelayedWork >, answers )
   KEL_GIVEN( Settings, settings )

   // Handlers.
   void handleFlowEntry( Kel::Name const & name );
   void handleFlowEntry();
   void handleTrafficGroup( Kel::Name const & name );
   void handleTrafficGroup();
   void handleTrafficEndPoint( OpenFlowTable::TrafficStreamEndPointId const & id );
   void handleTrafficEndPoint();
   void handleInitialized() override;

 private:
   void answerFlowEntry( Kel::Name const & name );
   void dropFlowEntry( Kel::Name const & name );
   void programRefused();
   void answerTrafficGroup( Kel::Name const & name );
   void answerTrafficEndPoint( OpenFlowTable::TrafficStreamEndPointId const & id );

   Orb::Askers< Kel::Name > entriesAsking_;
   Orb::Askers< Kel::Name > groupsAsking_;
   Orb::Askers< OpenFlowTable::TrafficStreamEndPointId > endPointsAsking_;
   std::set< Kel::Name > programmed_;
   /** In the order of the refusals. */
   Kel::HashMap2018< Kel::Name, Kel::Nothing > refused_;
};
KEL_FACTORY( flowTableSmFactory, FlowTableSm )

}  // namespace Scenarios::Simulated
