#pragma once

#include "platform/kel/StateMachine.h"
#include "platform/orb/Task.h"
#include "qorclient/agent/QorClientLocalTypes.h"
#include "qorclient/agent/Status.h"

namespace QorClient {

/** Bounds the time in which old state may be stale: `resyncPeriod` after its start it clears
 *  `resyncInProgress`. It never sets it. */
class ResyncSm : public Kel::StateMachine {
   KEL_STATE_MACHINE( QorClient::ResyncSm )

   // Inputs.
   KEL_GIVEN( Kel::Ptr< QorClient::Status >, status )

   // Own state.
   static constexpr Orb::Seconds resyncPeriod = 300.0;
   KEL_SINGLETON( LocalData const, localData )
   KEL_TASK( KelResyncTask, Orb::TimerTask, resyncTask, handleResyncTask )
   KEL_OWN( bool, initialized )

   // Handlers.
   void handleInitialized() override;
   void handleResyncTask();
};
KEL_FACTORY( resyncSmFactory, ResyncSm )

}  // namespace QorClient
