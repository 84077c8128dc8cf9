#pragma once

#include <map>

#include "platform/kel/StateMachine.h"
#include "qorclient/flowtable/HwStatus.h"
#include "qorclient/flowtable/PinFlowHwConfig.h"
#include "records/routing/VirtualRouterMacStatus.h"
#include "switch/openvswitch/Bridge.h"

namespace OpenVSwitch {

/**
 * The hardware's agent for the groups of routed policy: a group is a number in the frames that go
 * to the virtual router from or to one of its end points. Addresses alone tell end points apart on
 * a bridge, which knows no VRFs: a second end point with the address of another is refused.
 */
class GroupsSm : public Kel::StateMachine, private FlowSource {
   KEL_STATE_MACHINE( OpenVSwitch::GroupsSm )

   // Inputs.
   KEL_REACTOR( KelPfHwConfig, OpenFlowTable::PinFlowHwConfig const, pfHwConfig,
                KEL_ROWS( KEL_ON( trafficGroup, handleTrafficGroup )
                          KEL_ON( trafficEndPoint, handleTrafficEndPoint ) ) )
   KEL_GIVEN( Kel::Ptr< OpenFlowTable::HwStatus >, pfHwStatus )
   KEL_REACTOR( KelVirtualRouter, Routing::Fhrp::VirtualRouterMacStatus const, virtualRouter,
                KEL_ON( virtualRouterMac, handleVirtualRouterMac ) )
   KEL_GIVEN( Kel::Ptr< Bridge >, bridge )

   // Handlers.
   void handleTrafficGroup( Kel::Name const & name );
   void handleTrafficGroup();
   void handleTrafficEndPoint( OpenFlowTable::TrafficStreamEndPointId const & id );
   void handleTrafficEndPoint();
   void handleVirtualRouterMac();
   void handleInitialized() override;

 private:
   // As a source of flows, whose keys are the texts of end points, and "redirect".
   std::string_view name() const override { return "endPoints"; }
   WantedFlows flows( Kel::String const & key ) override;
   void answered( Kel::String const & key, Answer const & answer ) override;
   void removed( Kel::String const & key ) override;

   std::map< Kel::String, OpenFlowTable::TrafficStreamEndPointId > ids_;
};
KEL_FACTORY( groupsSmFactory, GroupsSm )

}  // namespace OpenVSwitch
