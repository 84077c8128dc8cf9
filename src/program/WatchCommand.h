#pragma once

#include <string>

#include "program/LiveState.h"

namespace Program {

struct WatchOptions {
   /** Where changes are of interest, and below; empty for everywhere. */
   std::string path;
   LiveOptions live;
   bool json = false;
};

/** Prints a line for each change of the live state as it comes, until SIGINT or SIGTERM; what
 * others have changed while the server was lost comes when it is back. Throws Corestore::StoreError
 * for a server that isn't there at the start. */
void watchState( WatchOptions const & options );

}  // namespace Program
