#pragma once

#include <cstdint>

#include "platform/kel/Entity.h"

namespace OpenFlowTable {

/** What the flow tables of the platform offer. */
class PlatformTableSupport : public Kel::NamedEntity {
   KEL_SHARED_ENTITY( OpenFlowTable::PlatformTableSupport )
   /** The group tables, by number. */
   KEL_MAP( std::uint32_t, bool, groupTable )
};
KEL_FACTORY( platformTableSupportFactory, PlatformTableSupport )

/** Options that the platform takes at its start. */
class PlatformInitConfig : public Kel::NamedEntity {
   KEL_SHARED_ENTITY( OpenFlowTable::PlatformInitConfig )
   KEL_SCALAR( bool, perVlanRoutingEnabled )
};
KEL_FACTORY( platformInitConfigFactory, PlatformInitConfig )

}  // namespace OpenFlowTable
