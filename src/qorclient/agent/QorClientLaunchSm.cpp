#include "qorclient/agent/QorClientLaunchSm.h"

#include "platform/flashlog/DualLog.h"
#include "records/vxlan/VxlanClientConfig.h"

KEL_TRACE_UNIT( "QorClientLaunchSm", "QorClientLaunchSm" )

KEL_MACHINE_TYPE( QorClient::LaunchSm )

namespace QorClient {

void LaunchSm::handleInitialized() {
   KEL_TRACE_SCOPE();
   initializedIs( true );
   handleEnabled();
}

void LaunchSm::handleControllerClientEnabled() {
   KEL_TRACE_SCOPE();
   handleEnabled();
}

void LaunchSm::handleQorEnabled() {
   KEL_TRACE_SCOPE();
   handleEnabled();
}

void LaunchSm::handleEnabled() {
   KEL_TRACE_SCOPE();
   KEL_TRACE_INFO( "ControllerClient enabled: ", controllerClientStatus()->enabled(),
                   "Qor enabled: ", localData()->qorEnabled() );
   if ( isEnabled() ) {
      openGate();
   } else {
      closeGate();
   }
}

void LaunchSm::openGate() {
   // `active` leads the opening and trails the closing: it is true whenever a policy state machine
   // exists.
   agentStatus()->activeIs( true );
   Kel::Ptr< Vxlan::VxlanClientConfig > const vxlanClient =
      Kel::ptrCast< Vxlan::VxlanClientConfig >(
         vxlanClientDir()->createEntity( Vxlan::VxlanClientConfig::kelType().name, "qor" ) );
   vxlanClient->arpPublishIs( true );
   vxlanClient->enabledIs( true );
   platformInitConfig()->perVlanRoutingEnabledIs( true );
   commonRootSmIs( pfHwStatus(), platformTableSupport(), capability(), vtiStatusDir() );
   rootSmIs( agentStatus(), polFragDir(), slabBrStatus(), brConfig(), switchIntfConfigDir(),
             polFragStatus(), pfHwConfig(), pfHwStatus(), vniSviConfig(), dynAllowedVlans(),
             qorTrunkGroup(), mlagConfig(), mlagHostTable(), fhrpGlideMacStatus(),
             nimbusVniBaseDir(), l2RibQorHostInput(), ofHwStatus(), mlagPluginStatus(),
             mlagStatus(), scheduler() );
   handleQorL3();
}

void LaunchSm::closeGate() {
   rootSmL3Del();
   if ( Kel::Ptr< RootSm > old = rootSmDel() ) {
      old->cleanup();
   }
   commonRootSmDel();
   polFragStatus()->policyFragmentDelAll();
   vniSviConfig()->vniSviInfoDelAll();
   pfHwConfig()->trafficGroupDelAll();
   pfHwConfig()->trafficEndPointDelAll();
   vxlanClientDir()->deleteEntity( "qor" );
   platformInitConfig()->perVlanRoutingEnabledIs( false );
   groupTypeStatus()->groupDelAll();
   pfHwConfigL3()->trafficGroupDelAll();
   pfHwConfigL3()->trafficEndPointDelAll();
   for ( auto const & [name, entity] : groupSetStatusDir()->entity() ) {
      groupSetStatusDir()->deleteEntity( name );
   }
   for ( auto const & [name, entity] : fragmentStatusDir()->entity() ) {
      fragmentStatusDir()->deleteEntity( name );
   }
   agentStatus()->activeIs( false );
}

void LaunchSm::handleQorL3() {
   KEL_TRACE_SCOPE();
   bool const l3Capable = ( capability()->feature() & QorCommon::V1::FeatureBit::l3Policy ) != 0;
   KEL_TRACE_INFO( "L3 Capable: ", l3Capable );
   if ( l3Capable && isEnabled() ) {
      KEL_TRACE_INFO( "Capable of QorL3. Enabling L3 SMs" );
      rootSmL3Is( groupTypeConfigDir(), groupTypeStatus(), groupSetConfigDir(), groupSetStatusDir(),
                  fragmentConfigDir(), fragmentStatusDir(), pfHwConfigL3(), pfHwStatusL3() );
   } else {
      KEL_TRACE_INFO( "Incapable of QorL3. Disabling L3 SMs" );
      rootSmL3Del();
   }
}

}  // namespace QorClient
