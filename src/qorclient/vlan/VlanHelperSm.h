#pragma once

#include "platform/kel/StateMachine.h"
#include "platform/wirekit/IntfId.h"
#include "qorclient/agent/QorClientLocalTypes.h"
#include "qorclient/agent/Status.h"
#include "records/bridging/AllowedVlans.h"
#include "records/vxlan/VniSviConfig.h"

namespace QorClient {

/**
 * Turns the VNIs that policies bind into the switch's configuration: asks the VXLAN side to carry
 * each bound VNI, notes the VLAN that it is given, and allows those VLANs on the interfaces.
 *
 * The list of an interface goes only with the unbinding of its VNIs: neither the loss of a mapping
 * nor the end of this machine takes a VLAN off an interface. VlanHelperAllowedVlans.cpp makes it.
 */
class VlanHelperSm : public Kel::StateMachine {
   KEL_STATE_MACHINE( QorClient::VlanHelperSm )

   // Inputs.
   KEL_REACTOR( KelAgentStatus, QorClient::Status, agentStatus, KEL_ON( boundVni, handleBoundVni ) )
   KEL_GIVEN( Kel::Ptr< Vxlan::VniSviConfig >, vniSviConfig )
   KEL_GIVEN( Kel::Ptr< Bridging::Input::AllowedVlans >, dynAllowedVlans )
   KEL_GIVEN( Kel::Ptr< Bridging::Input::TrunkGroup >, qorTrunkGroup )
   KEL_REACTOR( KelVtepInfo, VtepInfo const, vtepInfo,
                KEL_ROWS( KEL_ON( vniToVlanMap, handleVlanToVniMap )
                          KEL_ON( address, handleVtepAddr ) ) )

   // Own state.
   KEL_OWN( bool, initialized )

   // Operations.
   /** Computes the interface's list from nothing. It stands in the order of the bindings. */
   void doUpdateDynAllowedVlans( Wirekit::IntfId intfId );
   /** The interface of the first binding of the VNI; empty when there is none. */
   Wirekit::IntfId boundVniIntfId( Vxlan::VniExtOrNone vni ) const;
   bool isBoundVni( Vxlan::VniExtOrNone vni ) const;
   /** A VLAN stays off an interface's list while a warm host of the VLAN is on the interface. */
   bool skipAllowVlan( Wirekit::IntfId intfId, Bridging::VlanId vlanId ) const;
   /** Takes back the VNIs that were asked for, and forgets their VLANs; lists of interfaces stay.
    */
   void doCleanup();

   // Handlers.
   void handleBoundVni( VniAndIntfForPolicyFragment const & vniAndIntf );
   void handleBoundVni();
   void handleVlanToVniMap( Vxlan::VniExt const & vni );
   void handleVlanToVniMap();
   void handleVtepAddr();
   void handleInitialized() override;

 protected:
   void handleEnd() override { doCleanup(); }

 private:
   void requestVni( Vxlan::VniExtOrNone vni );
};
KEL_FACTORY( vlanHelperSmFactory, VlanHelperSm )

}  // namespace QorClient
