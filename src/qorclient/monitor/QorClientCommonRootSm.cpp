#include "qorclient/monitor/QorClientCommonRootSm.h"

#include "platform/flashlog/DualLog.h"

KEL_TRACE_UNIT( "QorClientCommonRootSm", "QorClientRootSm" )

KEL_MACHINE_TYPE( QorClientCommon::RootSm )

namespace QorClientCommon {

void RootSm::handleInitialized() {
   KEL_TRACE_SCOPE();
   initializedIs( true );
   // The roots of both sides, which are made after this one, read the record.
   localData()->vtepInfoIs();
   vlanToVniSmIs( vtiStatusDir() );
   capabilitySmIs( pfHwStatus(), platformTableSupport(), capability() );
}

void RootSm::cleanup() {
   KEL_TRACE_SCOPE();
   capabilitySmDel();
   if ( Kel::Ptr< QorClient::VlanToVniSm > old = vlanToVniSmDel() ) {
      old->doCleanup();
   }
   localData()->vtepInfoDel();
   initializedIs( false );
}

}  // namespace QorClientCommon
