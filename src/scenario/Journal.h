#pragma once

#include <string>

#include "scenario/Switch.h"

namespace Scenarios {

/** One line of the change journal: JSON, without line end. */
std::string journalLine( std::int64_t step, OutputChange const & change );

}  // namespace Scenarios
