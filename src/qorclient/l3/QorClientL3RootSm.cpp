#include "qorclient/l3/QorClientL3RootSm.h"

#include "platform/flashlog/DualLog.h"

KEL_TRACE_UNIT( "QorClientL3RootSm", "QorClientL3RootSm" )

KEL_MACHINE_TYPE( QorClientL3::V1::RootSm )

namespace QorClientL3::V1 {

void RootSm::handleInitialized() {
   KEL_TRACE_SCOPE();
   initializedIs( true );
   groupSmIs( groupTypeConfigDir(), groupTypeStatus(), groupSetConfigDir(), groupSetStatusDir(),
              pfHwConfig(), pfHwStatus() );
   fragmentSmIs( fragmentConfigDir(), fragmentStatusDir(), pfHwConfig(), pfHwStatus() );
}

void RootSm::cleanup() {
   KEL_TRACE_SCOPE();
   fragmentSmDel();
   groupSmDel();
   initializedIs( false );
}

}  // namespace QorClientL3::V1
