#pragma once

#include "platform/kel/StateMachine.h"
#include "records/bridging/AllowedVlans.h"
#include "records/vxlan/VtiStatus.h"
#include "switch/openvswitch/Bridge.h"
#include "switch/openvswitch/Switchports.h"

namespace OpenVSwitch {

class TopologySm;

/** Any change of it is one of the topology. */
class TrunkGroupSm : public Kel::StateMachine {
   KEL_STATE_MACHINE( OpenVSwitch::TrunkGroupSm )
   KEL_REACTOR( KelTrunkGroup, Bridging::Input::TrunkGroup const, trunkGroup,
                KEL_ON( intfList, handleIntfList ) )
   KEL_OWNER( TopologySm, owner )
   static Kel::Name keyOf( Kel::Ptr< Bridging::Input::TrunkGroup const > const & group ) {
      return group->name();
   }
   void handleIntfList();
};
/** The same. */
class VtiStatusSm : public Kel::StateMachine {
   KEL_STATE_MACHINE( OpenVSwitch::VtiStatusSm )
   KEL_REACTOR( KelVtiStatus, Vxlan::VtiStatus const, vtiStatus,
                KEL_ROWS( KEL_ON( vlanToVniMap, handleVlanToVniMap )
                          KEL_ON( addr, handleAddr ) ) )
   KEL_OWNER( TopologySm, owner )
   static Wirekit::IntfId keyOf( Kel::Ptr< Vxlan::VtiStatus const > const & status ) {
      return status->intfId();
   }
   void handleVlanToVniMap();
   void handleAddr();
};

/**
 * What the bridge is like: its ports, as the switch's database has them, the VLANs that its
 * configuration and the policy agent let them carry, the VNI of each VLAN and the tunnel end points
 * of each VNI. It is put together anew, once a turn, when any of that changes, and its flows are
 * those of the steps that frames have in common.
 */
class TopologySm : public Kel::StateMachine, private FlowSource {
   KEL_STATE_MACHINE( OpenVSwitch::TopologySm )

   // Inputs.
   KEL_REACTOR( KelAllowedVlans, Bridging::Input::AllowedVlans const, dynAllowedVlans,
                KEL_ROWS( KEL_ON( vlans, handleVlans )
                          KEL_ON( trunkGroup, handleTrunkGroup ) ) )
   KEL_REACTOR( KelVtiStatusDir, Vxlan::VtiStatusDir const, vtiStatusDir,
                KEL_ON( vtiStatus, handleVtiStatus ) )
   KEL_GIVEN( Kel::Ptr< Orb::TaskScheduler >, scheduler )
   KEL_GIVEN( Kel::Ptr< Bridge >, bridge )

   // Children.
   KEL_NESTED( Kel::Name, TrunkGroupSm, trunkGroupSm )
   KEL_NESTED( Wirekit::IntfId, VtiStatusSm, vtiStatusSm )

   /** The ports of the bridge. */
   void portsAre( BridgePorts ports, std::string const & bridgeName );

   // Handlers.
   void createNestedReactors() override;
   void handleVlans();
   void handleTrunkGroup( Kel::Name const & name );
   void handleVtiStatus( Wirekit::IntfId const & intf );
   void handleInitialized() override;

   /** Puts it together at the end of this turn. */
   void composeSoon();

 private:
   void compose();
   Port portOf( Ovsdb::BridgePort const & configured, std::uint32_t number,
                std::set< std::uint16_t > const & existing ) const;

   // As a source of flows, whose keys are "frames of table ...", "tunnel", "port ..." and "vlan
   // ...".
   std::string_view name() const override { return "topology"; }
   Rank rank( Kel::String const & key ) const override;
   WantedFlows flows( Kel::String const & key ) override;
   void answered( Kel::String const & key, Answer const & answer ) override;
   void removed( Kel::String const & key ) override;

   BridgePorts ports_;
   std::string bridgeName_;
   bool composing_ = false;
};

KEL_FACTORY( topologySmFactory, TopologySm )

}  // namespace OpenVSwitch
