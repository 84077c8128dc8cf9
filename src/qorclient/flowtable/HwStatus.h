#pragma once

#include <cstdint>
#include <ostream>

#include "platform/kel/Entity.h"
#include "platform/kel/EnumText.h"
#include "qorclient/flowtable/TrafficStream.h"

namespace OpenFlowTable {

/** The hardware's answer to a flow entry. Other values than those named stand for the ways of being
 *  in progress; why an entry is refused is the platform's own but for a full table. */
enum class FlowStatus : std::uint32_t {
   pending = 0,
   active = 1,
   tableFull = 5,
   refused6 = 6,
   refused7 = 7,
   refused8 = 8,
   refused10 = 10,
   refused12 = 12,
   refused13 = 13
};

inline std::ostream & operator<<( std::ostream & out, FlowStatus status ) {
   return Kel::printEnum(
      out, status, { { FlowStatus::pending, "pending" }, { FlowStatus::active, "active" } } );
}

/** The hardware's answer to a group or an end point. Numbered otherwise than FlowStatus; why one is
 *  refused is the platform's own. */
enum class TrafficStreamStatus : std::uint32_t {
   active = 0,
   pending = 1,
   refused2 = 2,
   refused3 = 3
};

inline std::ostream & operator<<( std::ostream & out, TrafficStreamStatus status ) {
   return Kel::printEnum(
      out, status,
      { { TrafficStreamStatus::active, "active" }, { TrafficStreamStatus::pending, "pending" } } );
}

class FlowStats : public Kel::NamedEntity {
   KEL_SHARED_ENTITY( OpenFlowTable::FlowStats )
   KEL_SCALAR( FlowStatus, status )
};
KEL_FACTORY( flowStatsFactory, FlowStats )

class TrafficStreamGroupHwStatus : public Kel::NamedEntity {
   KEL_SHARED_ENTITY( OpenFlowTable::TrafficStreamGroupHwStatus )
   KEL_SCALAR( TrafficStreamStatus, status )
};
KEL_FACTORY( trafficStreamGroupHwStatusFactory, TrafficStreamGroupHwStatus )

class TrafficStreamEndPointStatus : public Kel::KeyedEntity< TrafficStreamEndPointId > {
   KEL_SHARED_ENTITY_OF( OpenFlowTable::TrafficStreamEndPointStatus,
                         ::Kel::KeyedEntity< TrafficStreamEndPointId > )
   KEL_KEY( TrafficStreamEndPointId, id )
   KEL_SCALAR( Kel::String, groupName )
   KEL_SCALAR( TrafficStreamStatus, status )
};
KEL_FACTORY( trafficStreamEndPointStatusFactory, TrafficStreamEndPointStatus )

/** What the hardware made of a flow table. */
class HwStatus : public Kel::NamedEntity {
   KEL_SHARED_ENTITY( OpenFlowTable::HwStatus )
   /** The platform has such a table. */
   KEL_SCALAR( bool, supported )
   /** ARP needs a rule of its own. */
   KEL_SCALAR( bool, arpRuleRequired )
   KEL_CHILDREN( Kel::Name, FlowStats, flowStats )
   KEL_CHILDREN( Kel::Name, TrafficStreamGroupHwStatus, trafficGroupStatus )
   KEL_CHILDREN( TrafficStreamEndPointId, TrafficStreamEndPointStatus, trafficEndPointStatus )

   /** An answer that is complete when others hear of it; one that stands stays as it is. */
   void flowStatsIs( Kel::Name const & name, FlowStatus status ) {
      flowStats_.is( *this, flowStatsId, name,
                     [status]( FlowStats & row ) { row.statusIs( status ); } );
   }
};
KEL_FACTORY( hwStatusFactory, HwStatus )

}  // namespace OpenFlowTable
