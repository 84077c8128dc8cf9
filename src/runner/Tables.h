#pragma once

#include <ostream>
#include <string>
#include <vector>

#include "runner/Switch.h"

namespace Runner {

/** The tables that `printTable` knows. */
std::vector< std::string > tableNames();

/** Prints one table of the switch's state for a person to read. */
void printTable( std::string const & name, Switch const & device, std::ostream & out );

}  // namespace Runner
