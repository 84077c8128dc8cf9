#pragma once

#include <ostream>

namespace Views {

/**
 * Prints the wiring of all state machines as Graphviz DOT: from an attribute to the handler that
 * runs on its change, and from a machine to each entity that it holds to write; dashed where a
 * machine that it makes is given the entity too, and may be the only one of the two that writes.
 * A nested machine writes what its owner holds. Entities go by their path, followed by the type
 * for those below it; what is in memory alone goes by the type. The same wiring always gives the
 * same text.
 */
void printGraph( std::ostream & out );

}  // namespace Views
