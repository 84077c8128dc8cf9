#include "qorclient/host/ReportedPlace.h"

#include "platform/flashlog/DualLog.h"

KEL_TRACE_UNIT( "HostTrackerSm", "QorClientHostTrackerSm" )

namespace QorClient {

ReportedPlace reportedPlace( Status const & agentStatus, Bridging::Config const & bridgingConfig,
                             Bridging::SwitchIntfConfigDir const & switchIntfConfigDir,
                             Bridging::VlanId vlan, Wirekit::IntfId intf ) {
   if ( !intf ) {
      return ReportedPlace::none;
   }
   if ( isServiceIntf( agentStatus, intf ) ) {
      return ReportedPlace::serviceIntf;
   }
   auto const vlanConfig = bridgingConfig.vlanConfig( vlan );
   if ( !vlanConfig || !vlanConfig->intfHas( intf ) ) {
      return ReportedPlace::outsideVlan;
   }
   if ( !switchIntfConfigDir.switchIntfConfigHas( intf ) ) {
      return ReportedPlace::withoutConfig;
   }
   return intf == agentStatus.cachedPeerLinkIntfId() ? ReportedPlace::peerLink
                                                     : ReportedPlace::usable;
}

bool isServiceIntf( Status const & agentStatus, Wirekit::IntfId intf ) {
   KEL_TRACE_SCOPE( " intf: ", intf );
   for ( auto const & [fragment, info] : agentStatus.policyFragmentInfo() ) {
      // A learnt host asks this of every fragment, and one with host flows alone has no set.
      if ( info->serviceIntfSetInfoCount() == 0 ) {
         continue;
      }
      for ( auto const & [name, set] : info->serviceIntfSetInfo() ) {
         for ( VniAndIntfForPolicyFragment const & key : set->boundVniKeys() ) {
            if ( key.intfId == intf ) {
               KEL_TRACE_RETURN( " return true" );
               return true;
            }
         }
      }
   }
   KEL_TRACE_RETURN( " return false" );
   return false;
}

bool isLearntHost( Bridging::EntryType entryType ) {
   using enum Bridging::EntryType;
   return entryType == none || entryType == local || entryType == peer || entryType == otherLearnt;
}

}  // namespace QorClient
