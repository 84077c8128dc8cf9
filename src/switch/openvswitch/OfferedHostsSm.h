#pragma once

#include "platform/kel/StateMachine.h"
#include "records/l2rib/HostInput.h"
#include "switch/openvswitch/Bridge.h"

namespace OpenVSwitch {

/** Hosts that the policy agent offers to the L2 RIB: frames to them go to the interface that it
 *  names, whatever was learnt. */
class OfferedHostsSm : public Kel::StateMachine, private FlowSource {
   KEL_STATE_MACHINE( OpenVSwitch::OfferedHostsSm )

   // Inputs.
   KEL_REACTOR( KelHostInput, L2Rib::HostInput const, hostInput, KEL_ON( host, handleHost ) )
   KEL_GIVEN( Kel::Ptr< Bridge >, bridge )

   // Handlers.
   void handleHost( Bridging::MacVlanPair const & host );
   void handleHost();
   void handleInitialized() override;

 private:
   // As a source of flows, whose keys are "VLAN MAC".
   std::string_view name() const override { return "offered"; }
   WantedFlows flows( Kel::String const & key ) override;
   void answered( Kel::String const & key, Answer const & answer ) override;
   void removed( Kel::String const & ) override {}
};
KEL_FACTORY( offeredHostsSmFactory, OfferedHostsSm )

}  // namespace OpenVSwitch
