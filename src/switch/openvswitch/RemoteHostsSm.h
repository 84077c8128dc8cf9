#pragma once

#include <map>

#include "platform/kel/Dir.h"
#include "platform/kel/StateMachine.h"
#include "records/vxlancontroller/VniFdbStatusV2.h"
#include "switch/openvswitch/Bridge.h"

namespace OpenVSwitch {

class RemoteHostsSm;

/** The hosts of one VNI. */
class VniHostsSm : public Kel::StateMachine {
   KEL_STATE_MACHINE( OpenVSwitch::VniHostsSm )
   KEL_REACTOR( KelVniFdbStatus, VxlanController::VniFdbStatusV2 const, vniFdbStatus,
                KEL_ON( macVtepTable, handleMacVtepTable ) )
   KEL_OWNER( RemoteHostsSm, owner )
   static Kel::Name keyOf( Kel::Ptr< VxlanController::VniFdbStatusV2 const > const & status ) {
      return status->name();
   }
   void handleMacVtepTable( Wirekit::EthAddr const & mac );
   void handleMacVtepTable();
   void handleInitialized() override { handleMacVtepTable(); }
};

/**
 * Hosts behind other tunnel end points, as the controller names them: frames to them go there
 * unless they are learnt here. A host that the controller names anew is no longer where the switch
 * has learnt it. What is said of this switch's own end point says nothing new.
 */
class RemoteHostsSm : public Kel::StateMachine, private FlowSource {
   KEL_STATE_MACHINE( OpenVSwitch::RemoteHostsSm )

   // Inputs.
   KEL_REACTOR( KelVniBaseDir, Kel::Dir const, vniBaseDir, KEL_ON( entity, handleVni ) )
   KEL_GIVEN( Kel::Ptr< Bridge >, bridge )

   // Children.
   KEL_NESTED( Kel::Name, VniHostsSm, vniHostsSm )

   // Handlers.
   void createNestedReactors() override;
   void handleVni( Kel::Name const & vni );
   void handleInitialized() override;

   /** A host of a VNI has come, moved or gone. */
   void hostChanged( Kel::Name const & vni, Wirekit::EthAddr const & mac );

 private:
   /** The end point behind which the controller places a host; zero for nowhere else than here. */
   Wirekit::Ip4Addr endPointOf( Kel::Name const & vni, Wirekit::EthAddr const & mac ) const;
   /** Takes up where a host is, and says it. */
   Wirekit::Ip4Addr look( Kel::Name const & vni, Wirekit::EthAddr const & mac );
   void count( std::uint32_t vni, Wirekit::Ip4Addr endPoint, int by );

   // As a source of flows, whose keys are "VNI MAC".
   std::string_view name() const override { return "remote"; }
   WantedFlows flows( Kel::String const & key ) override;
   void answered( Kel::String const & key, Answer const & answer ) override;
   void removed( Kel::String const & ) override {}

   /** Where each host was when it was last looked at. */
   std::map< std::pair< Kel::Name, Wirekit::EthAddr >, Wirekit::Ip4Addr > places_;
   std::map< std::pair< std::uint32_t, Wirekit::Ip4Addr >, int > hosts_;
};
KEL_FACTORY( remoteHostsSmFactory, RemoteHostsSm )

}  // namespace OpenVSwitch
