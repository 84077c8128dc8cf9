// The closing order of the L2 side, which `LaunchSm::closeGate` ends behind the routed one.

#include "platform/flashlog/DualLog.h"
#include "qorclient/agent/QorClient.h"

KEL_TRACE_UNIT( "QorClient", "QorClient" )

namespace QorClient {

void RootSm::cleanup() {
   KEL_TRACE_SCOPE();
   if ( Kel::Ptr< PolicyFragmentDirSm > dirSm = polFragDirSm() ) {
      dirSm->doPrepareToDie();
   }
   polFragDirSmDel();
   qorClientMlagPluginCopySmDel();
   resyncSmDel();
}

void PolicyFragmentDirSm::doPrepareToDie() {
   KEL_TRACE_SCOPE_ENDING( " return " );
   if ( Kel::Ptr< DatapathV1::PolicyFragmentSm > old = policyFragmentSmDel() ) {
      old->doPrepareToDie();
   }
   vlanHelperSmDel();
   if ( Kel::Ptr< MlagSm > old = mlagSmDel() ) {
      old->destroy();
   }
   hostTrackerSmDel();
}

}  // namespace QorClient
