#pragma once

#include "platform/kel/Entity.h"

namespace QorClientL3::V1 {

/** The names of the flows that the configuration wants, in memory only: tells at the start which
 *  entries of the flow table are stale. */
class CachedFlowConfig : public Kel::NamedEntity {
   KEL_ENTITY( QorClientL3::V1::CachedFlowConfig )
   KEL_MAP( Kel::String, bool, flow )

   void flowIs( Kel::String const & name ) { flowIs( name, true ); }
};
KEL_FACTORY( cachedFlowConfigFactory, CachedFlowConfig )

}  // namespace QorClientL3::V1
