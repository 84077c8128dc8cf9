#pragma once

#include <string>

namespace Program {

/** The time now in UTC, as "2026-01-31T23:59:59.123Z". */
std::string utcTime();
/** The time of the day here, as "23:59:59.123". */
std::string localClock();

}  // namespace Program
