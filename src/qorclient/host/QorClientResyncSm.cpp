#include "qorclient/host/QorClientResyncSm.h"

#include "platform/flashlog/DualLog.h"

KEL_TRACE_UNIT( "QorClientResyncSm", "QorClientResync" )

KEL_MACHINE_TYPE( QorClient::ResyncSm )

namespace QorClient {

void ResyncSm::handleInitialized() {
   KEL_TRACE_SCOPE();
   initializedIs( true );
   resyncTaskIs( localData()->scheduler(), agentTaskPriority, "resyncTask" );
   KEL_TRACE_INFO( " resyncInProgress: ", status()->resyncInProgress() );
   resyncTask()->scheduleTaskLowestDelay( resyncPeriod );
}

void ResyncSm::handleResyncTask() {
   KEL_TRACE_SCOPE();
   if ( resyncTask()->taskCurrentlyRunning() ) {
      status()->resyncInProgressIs( false );
   } else {
      resyncTask()->scheduleTaskLowestDelay( resyncPeriod );
   }
}

}  // namespace QorClient
