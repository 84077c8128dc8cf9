#pragma once

#include <string>

namespace Program {

/** Checks all of a scenario, and tells on standard error what it hardly means. Throws InputError.
 */
void checkScenario( std::string const & file );

}  // namespace Program
