#include "monitor/QorClientCommonCapabilitySm.h"

#include "platform/flashlog/DualLog.h"

KEL_TRACE_UNIT( "QorClientCommonCapabilitySm", "QorClientCapabilitySm" )

KEL_MACHINE_TYPE( QorClientCommon::V1::CapabilitySm )

namespace QorClientCommon::V1 {

void CapabilitySm::updateL3Support() {
   KEL_TRACE_INFO( "PinFlow supported: ", pfHwStatus()->supported(),
                   " Group Table: ", platformTableSupport()->groupTableCount() );
   namespace FeatureBit = QorCommon::V1::FeatureBit;
   QorCommon::V1::Feature feature = capability()->feature();
   auto bitsAre = [&feature]( QorCommon::V1::Feature bits, bool on ) {
      feature = on ? feature | bits : feature & ~bits;
   };
   bitsAre( FeatureBit::l3Policy | FeatureBit::l3PolicyReported, pfHwStatus()->supported() );
   bitsAre( FeatureBit::groupTable, platformTableSupport()->groupTableCount() != 0 );
   capability()->featureIs( feature );
   KEL_TRACE_RETURN();
}

void CapabilitySm::handlePFSupported() {
   KEL_TRACE_ENTRY();
   updateL3Support();
   KEL_TRACE_RETURN();
}

void CapabilitySm::handleTables() {
   KEL_TRACE_ENTRY();
   updateL3Support();
   KEL_TRACE_RETURN();
}

void CapabilitySm::handleInitialized() {
   KEL_TRACE_ENTRY();
   initializedIs( true );
   updateL3Support();
   KEL_TRACE_RETURN();
}

void CapabilitySm::cleanup() {
   KEL_TRACE_ENTRY();
   capability()->featureIs( {} );
   initializedIs( false );
   KEL_TRACE_RETURN();
}

}  // namespace QorClientCommon::V1
