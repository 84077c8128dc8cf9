#pragma once

#include "platform/kel/StateMachine.h"
#include "qorclient/flowtable/HwStatus.h"
#include "qorclient/flowtable/PlatformConfig.h"
#include "records/qorcommon/Capability.h"

namespace QorClientCommon::V1 {

/**
 * Tells the controller and the launch gate what the platform can do: it keeps three bits of the
 * capability record and leaves the fourth as it finds it. At its end the record is 0.
 */
class CapabilitySm : public Kel::StateMachine {
   KEL_STATE_MACHINE( QorClientCommon::V1::CapabilitySm )

   // Inputs.
   KEL_REACTOR( KelPfHwStatus, OpenFlowTable::HwStatus const, pfHwStatus,
                KEL_ON( supported, handlePFSupported ) )
   KEL_REACTOR( KelPlatformTableSupport, OpenFlowTable::PlatformTableSupport const,
                platformTableSupport, KEL_ON( groupTable, handleTables ) )
   KEL_GIVEN( Kel::Ptr< QorCommon::V1::Capability >, capability )

   // Own state.
   KEL_OWN( bool, initialized )

   // Operations.
   void updateL3Support();
   void cleanup();

   // Handlers.
   void handlePFSupported();
   void handleTables();
   void handleInitialized() override;

 protected:
   void handleEnd() override { cleanup(); }
};
KEL_FACTORY( capabilitySmFactory, CapabilitySm )

}  // namespace QorClientCommon::V1
