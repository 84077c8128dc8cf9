#pragma once

#include <string>
#include <vector>

#include "histories/PolicyMemory.h"
#include "scenario/Switch.h"

namespace Histories {

/** What must hold after every step and doesn't, one line each. `past` has been told of the step. */
std::vector< std::string > brokenInvariants( Scenarios::Switch const & device,
                                             PolicyMemory const & past );

/** What must hold, beside that, once all policy has been withdrawn. */
std::vector< std::string > leftovers( Scenarios::Switch const & device, PolicyMemory const & past );

}  // namespace Histories
