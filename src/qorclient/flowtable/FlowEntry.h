#pragma once

#include <cstdint>

#include "qorclient/flowtable/Actions.h"
#include "qorclient/flowtable/Match.h"
#include "qorclient/flowtable/Priority.h"

namespace OpenFlowTable {

enum class PriorityGroupType : std::uint32_t { normal = 0 };

/** The place in the pipeline. */
enum class TableType : std::uint32_t { none = 0, lookup = 1, preLookup = 2, preTransmit = 3 };

/** A row of the flow table. */
struct FlowEntry {
   Match match;
   Actions actions;
   Priority priority;
   PriorityGroupType priorityGroupType{};
   TableType tableType{};
   std::uint64_t cookie = 0;
   /** Seconds; 0 for none. */
   double idleTimeout = 0;
   double hardTimeout = 0;
   bool flag = false;

   KEL_RECORD( FlowEntry, match, actions, priority, priorityGroupType, tableType, cookie,
               idleTimeout, hardTimeout, flag )
};

}  // namespace OpenFlowTable
