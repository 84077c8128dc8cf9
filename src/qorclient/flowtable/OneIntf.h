#pragma once

#include "platform/kel/ValueSet.h"
#include "platform/wirekit/IntfId.h"

namespace OpenFlowTable {

/** Puts an interface into a set or takes it out. Sets of the same one interface share it, as most
 *  entries have one, of the few interfaces that a switch has. */
void intfIs( Kel::ValueSet< Wirekit::IntfId > & set, Wirekit::IntfId intf, bool member );

}  // namespace OpenFlowTable
