#pragma once

#include <string>

#include "program/StateSource.h"

namespace Program {

/** What is shown, of which state, and for whom. */
struct ShowOptions {
   std::string table;
   StateSource source;
   /** For programs: a JSON array. */
   bool json = false;
};

/** Prints a table. Returns the exit code; throws InputError and Corestore::StoreError. */
int showTable( ShowOptions const & options );

}  // namespace Program
