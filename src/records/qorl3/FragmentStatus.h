#pragma once

#include <utility>

#include "platform/kel/Entity.h"
#include "records/qorl3/FlowGroupOrder.h"
#include "records/qorl3/State.h"

namespace QorL3::V1 {

struct FlowStatus {
   FlowStatus() = default;
   explicit FlowStatus( Kel::String flowName ) : name( std::move( flowName ) ) {}

   Kel::String name;
   bool enabled = false;
   State state{};
   /** The state in words, where there is more to say. */
   Kel::String detail;
   /** Those of the configured flow. */
   Kel::String firstLabel;
   Kel::String secondLabel;

   KEL_RECORD( FlowStatus, name, enabled, state, detail, firstLabel, secondLabel )
};

class FlowGroupStatus : public Kel::KeyedEntity< FlowGroupOrder > {
   KEL_SHARED_ENTITY_OF( QorL3::V1::FlowGroupStatus, ::Kel::KeyedEntity< FlowGroupOrder > )
   KEL_KEY( FlowGroupOrder, order )
   KEL_VALUES( Kel::String, FlowStatus, flow, name )
};
KEL_FACTORY( flowGroupStatusFactory, FlowGroupStatus )

/** The state of a VRF's flows, as FragmentConfig lists them. */
class FragmentStatus : public Kel::NamedEntity {
   KEL_SHARED_ENTITY( QorL3::V1::FragmentStatus )
   KEL_ORDERED_CHILDREN( FlowGroupOrder, FlowGroupStatus, flowGroup )
};
KEL_FACTORY( fragmentStatusFactory, FragmentStatus )

}  // namespace QorL3::V1
