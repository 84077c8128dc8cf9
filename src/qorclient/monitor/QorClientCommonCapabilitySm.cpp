#include "qorclient/monitor/QorClientCommonCapabilitySm.h"

#include "platform/flashlog/DualLog.h"

KEL_TRACE_UNIT( "QorClientCommonCapabilitySm", "QorClientCapabilitySm" )

KEL_MACHINE_TYPE( QorClientCommon::V1::CapabilitySm )

namespace QorClientCommon::V1 {

void CapabilitySm::updateL3Support() {
   KEL_TRACE_SCOPE();
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
}

void CapabilitySm::handlePFSupported() {
   KEL_TRACE_SCOPE();
   updateL3Support();
}

void CapabilitySm::handleTables() {
   KEL_TRACE_SCOPE();
   updateL3Support();
}

void CapabilitySm::handleInitialized() {
   KEL_TRACE_SCOPE();
   initializedIs( true );
   updateL3Support();
}

void CapabilitySm::cleanup() {
   KEL_TRACE_SCOPE();
   capability()->featureIs( {} );
   initializedIs( false );
}

}  // namespace QorClientCommon::V1
