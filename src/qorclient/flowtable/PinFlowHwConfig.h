#pragma once

#include <cstdint>

#include "platform/kel/Entity.h"
#include "qorclient/flowtable/FlowEntry.h"
#include "qorclient/flowtable/TrafficStream.h"

namespace OpenFlowTable {

/** A flow table. */
class FlowHwConfig : public Kel::NamedEntity {
   KEL_SHARED_ENTITY( OpenFlowTable::FlowHwConfig )
   KEL_MAP( Kel::Name, FlowEntry, flowEntry )

   /** Creates or replaces an entry. `cookie` is the writer's own; the time-outs are in seconds, 0
    *  for none. */
   void flowEntryIs( Kel::Name const & name, Match const & match, Actions const & actions,
                     Priority priority, PriorityGroupType priorityGroupType, TableType tableType,
                     std::uint64_t const & cookie, double const & idleTimeout,
                     double const & hardTimeout, bool flag ) {
      flowEntryIs( name, FlowEntry{ match, actions, priority, priorityGroupType, tableType, cookie,
                                    idleTimeout, hardTimeout, flag } );
   }
   /** Whether an entry of that name stands which matches and does just that. */
   bool flowEntryHas( Kel::Name const & name, Match const & match, Actions const & actions ) const {
      FlowEntry const * const entry = flowEntry_.members().find( name );
      return entry && entry->match == match && entry->actions == actions;
   }
};
KEL_FACTORY( flowHwConfigFactory, FlowHwConfig )

/** The static flow table. */
class PinFlowHwConfig : public FlowHwConfig {
   KEL_SHARED_ENTITY_OF( OpenFlowTable::PinFlowHwConfig, FlowHwConfig )
   KEL_MAP( Kel::Name, TrafficStreamGroupType, trafficGroup )
   /** The group of each end point. */
   KEL_MAP( TrafficStreamEndPointId, Kel::String, trafficEndPoint )
};
KEL_FACTORY( pinFlowHwConfigFactory, PinFlowHwConfig )

}  // namespace OpenFlowTable
