#pragma once

#include "platform/kel/Entity.h"
#include "records/qorl3/FlowConfig.h"
#include "records/qorl3/FlowGroupOrder.h"

namespace QorL3::V1 {

class FlowGroupConfig : public Kel::KeyedEntity< FlowGroupOrder > {
   KEL_SHARED_ENTITY_OF( QorL3::V1::FlowGroupConfig, ::Kel::KeyedEntity< FlowGroupOrder > )
   KEL_KEY( FlowGroupOrder, order )
   KEL_VALUES( Kel::String, FlowConfig, flow, name )
};
KEL_FACTORY( flowGroupConfigFactory, FlowGroupConfig )

/** The flows of a VRF, whose name is the entity's. */
class FragmentConfig : public Kel::NamedEntity {
   KEL_SHARED_ENTITY( QorL3::V1::FragmentConfig )
   KEL_ORDERED_CHILDREN( FlowGroupOrder, FlowGroupConfig, flowGroup )
};
KEL_FACTORY( fragmentConfigFactory, FragmentConfig )

}  // namespace QorL3::V1
