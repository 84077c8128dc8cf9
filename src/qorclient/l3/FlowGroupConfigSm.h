#pragma once

#include "platform/kel/StateMachine.h"
#include "qorclient/agent/QorClientLocalTypes.h"
#include "qorclient/flowtable/PinFlowHwConfig.h"
#include "qorclient/l3/CachedFlowConfig.h"
#include "records/qorl3/FragmentConfig.h"

namespace QorClientL3::V1 {

/**
 * Writes the flows of one group into the flow table, under their bare names: a flow of another
 * group or VRF that has the same name overwrites it. The order of the group does not enter the
 * flow's priority.
 *
 * A flow whose VNI moves to another VLAN keeps the old one until the flow is handled again.
 */
class FlowGroupConfigSm : public Kel::StateMachine {
   KEL_STATE_MACHINE( QorClientL3::V1::FlowGroupConfigSm )

   // Inputs.
   KEL_GIVEN( L3::VrfName, vrf )
   KEL_REACTOR( KelFlowGroupConfig, QorL3::V1::FlowGroupConfig const, flowGroupConfig,
                KEL_ON( flow, handleFlow ) )
   KEL_GIVEN( Kel::Ptr< OpenFlowTable::PinFlowHwConfig >, pfHwConfig )
   KEL_GIVEN( Kel::Ptr< CachedFlowConfig >, cachedFlowConfig )
   KEL_REACTOR( KelVtepInfo, QorClient::VtepInfo const, vtepInfo,
                KEL_ON( vniToVlanMap, handleVlanToVniMap ) )

   // Own state.
   KEL_OWN( bool, initialized )

   static constexpr std::size_t keyInput = 1;
   static QorL3::V1::FlowGroupOrder keyOf(
      auto const &, Kel::Ptr< QorL3::V1::FlowGroupConfig const > const & flowGroupConfig,
      auto const &... ) {
      return flowGroupConfig->order();
   }
   QorL3::V1::FlowGroupOrder order() const { return flowGroupConfig()->order(); }

   // Handlers.
   void handleVlanToVniMap( Vxlan::VniExt vni );
   void handleFlow( Kel::String const & name );
   void handleFlow();

   /** Writes the flow's entry, or nothing when match or actions can't be built. Throws
    *  RangeException for a priority that the flow table doesn't have. */
   void installFlow( QorL3::V1::FlowConfig const & flowConfig );
   void uninstallFlow( Kel::String const & flowName );

   /** The default when the match names a VNI that has no VLAN. */
   OpenFlowTable::Match buildMatch( QorL3::V1::Match const & match,
                                    QorL3::V1::MatchFieldSet matchFieldSet ) const;
   /** The default for an empty field set. */
   static OpenFlowTable::Actions buildActions( QorL3::V1::Action const & action,
                                               QorL3::V1::ActionFieldSet actionFieldSet );
   /** Whether match, actions or priority of the entry are not those of the flow. */
   bool isFlowConfigModified( QorL3::V1::FlowConfig const & flowConfig,
                              OpenFlowTable::FlowEntry const & flowEntry ) const;
   /** The mask of `len` leading ones; asserts that `len` is at most 128. */
   static Wirekit::Ip6Addr createIp6Mask( std::uint32_t len );

   void cleanup();
   void handleInitialized() override;

 protected:
   void handleEnd() override { cleanup(); }
};
KEL_FACTORY( flowGroupConfigSmFactory, FlowGroupConfigSm )

}  // namespace QorClientL3::V1
