#include "qorclient/flowtable/HwStatus.h"
#include "qorclient/flowtable/PinFlowHwConfig.h"
#include "qorclient/flowtable/PlatformConfig.h"

KEL_SHARED_TYPE( OpenFlowTable::FlowStats )
KEL_SHARED_TYPE( OpenFlowTable::TrafficStreamGroupHwStatus )
KEL_SHARED_TYPE( OpenFlowTable::TrafficStreamEndPointStatus )
KEL_SHARED_TYPE( OpenFlowTable::HwStatus )
KEL_SHARED_TYPE( OpenFlowTable::FlowHwConfig )
KEL_SHARED_TYPE( OpenFlowTable::PinFlowHwConfig )
KEL_SHARED_TYPE( OpenFlowTable::PlatformTableSupport )
KEL_SHARED_TYPE( OpenFlowTable::PlatformInitConfig )
