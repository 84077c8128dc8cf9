#pragma once

#include "platform/kel/StateMachine.h"
#include "qorclient/flowtable/HwStatus.h"
#include "qorclient/flowtable/PinFlowHwConfig.h"
#include "records/routing/VirtualRouterMacStatus.h"
#include "switch/openvswitch/Bridge.h"

namespace OpenVSwitch {

/**
 * The hardware's agent for one flow table: programs its rules into the bridge, and answers each
 * with what became of it: programmed, once the switch has said so; refused, with the number of the
 * reason. A rule that is refused is tried again when room has come, or a port.
 */
class RulesSm : public Kel::StateMachine, private FlowSource {
   KEL_STATE_MACHINE( OpenVSwitch::RulesSm )

   // Inputs.
   KEL_REACTOR( KelPfHwConfig, OpenFlowTable::PinFlowHwConfig const, pfHwConfig,
                KEL_ROWS( KEL_ON( flowEntry, handleFlowEntry )
                          KEL_ON( trafficGroup, handleTrafficGroup ) ) )
   KEL_GIVEN( Kel::Ptr< OpenFlowTable::HwStatus >, pfHwStatus )
   KEL_REACTOR( KelVirtualRouter, Routing::Fhrp::VirtualRouterMacStatus const, virtualRouter,
                KEL_ON( virtualRouterMac, handleVirtualRouterMac ) )
   KEL_GIVEN( Kel::Ptr< Bridge >, bridge )

   // Handlers.
   void handleFlowEntry( Kel::Name const & name );
   void handleFlowEntry();
   void handleTrafficGroup( Kel::Name const & name );
   void handleTrafficGroup();
   void handleVirtualRouterMac();
   void handleInitialized() override;

 private:
   void handleTopology( Topology const & before );

   // As a source of flows.
   std::string_view name() const override { return pfHwConfig()->name(); }
   WantedFlows flows( Kel::String const & name ) override;
   void answered( Kel::String const & name, Answer const & answer ) override;
   void removed( Kel::String const & name ) override;
};
KEL_FACTORY( rulesSmFactory, RulesSm )

}  // namespace OpenVSwitch
