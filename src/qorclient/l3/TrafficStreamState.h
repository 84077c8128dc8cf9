#pragma once

#include "qorclient/flowtable/HwStatus.h"

namespace QorClientL3::V1 {

// The hardware's answer to a group or an end point. At most one of the three is true; an answer
// for which none is counts as an error as well.

inline bool isTrafficStreamActive( OpenFlowTable::TrafficStreamStatus status ) {
   return status == OpenFlowTable::TrafficStreamStatus::active;
}
inline bool isTrafficStreamPending( OpenFlowTable::TrafficStreamStatus status ) {
   return status == OpenFlowTable::TrafficStreamStatus::pending;
}
inline bool isTrafficStreamError( OpenFlowTable::TrafficStreamStatus status ) {
   return status == OpenFlowTable::TrafficStreamStatus::refused2 ||
          status == OpenFlowTable::TrafficStreamStatus::refused3;
}

}  // namespace QorClientL3::V1
