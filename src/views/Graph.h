#pragma once

#include <ostream>

namespace Runner {

/** Prints the wiring of all state machines, from an entity's attribute to the handler that runs on
 *  its change, as Graphviz DOT. The same wiring always gives the same text. */
void printGraph( std::ostream & out );

}  // namespace Runner
