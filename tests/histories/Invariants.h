#pragma once

#include <string>
#include <vector>

#include "runner/Switch.h"

namespace Histories {

/** What must hold after every step and doesn't, one line each. */
std::vector< std::string > brokenInvariants( Runner::Switch const & device );

/** What must hold, beside that, once all policy has been withdrawn. */
std::vector< std::string > leftovers( Runner::Switch const & device );

}  // namespace Histories
