#pragma once

#include "platform/kel/StateMachine.h"
#include "qorclient/flowtable/PinFlowHwConfig.h"
#include "records/qorl3/GroupSetConfig.h"

namespace QorClientL3::V1 {

/**
 * Writes the hosts of one group, VRF and VNI as traffic end points, under the VLAN that the VNI
 * had when the machine was made. It never looks at the VLAN again: with another VLAN its owner
 * makes another machine.
 */
class MemberSetConfigVniSm : public Kel::StateMachine {
   KEL_STATE_MACHINE( QorClientL3::V1::MemberSetConfigVniSm )

   // Inputs.
   KEL_GIVEN( Kel::String, groupName )
   KEL_GIVEN( Vxlan::VniExt, vni )
   KEL_GIVEN( Bridging::VlanIdOrNone, vlan )
   KEL_REACTOR( KelMemberSetConfig, QorL3::V1::MemberSetConfig const, memberSetConfig,
                KEL_ON( member, handleMember ) )
   KEL_GIVEN( L3::VrfName, vrf )
   KEL_GIVEN( Kel::Ptr< OpenFlowTable::PinFlowHwConfig >, pfHwConfig )

   // Own state.
   KEL_OWN( bool, initialized )

   static Vxlan::VniExt keyOf( Kel::String const &, Vxlan::VniExt vni, auto const &... ) {
      return vni;
   }

   void handleInitialized() override;
   void cleanup();

   // Handlers.
   void handleMember( QorL3::V1::MemberKey const & key );
   void handleMember();

 protected:
   void handleEnd() override { cleanup(); }
};
KEL_FACTORY( memberSetConfigVniSmFactory, MemberSetConfigVniSm )

}  // namespace QorClientL3::V1
