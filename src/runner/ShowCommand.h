#pragma once

#include <string>

namespace Runner {

/** What is shown, and of which of the two sources: the other one is empty. */
struct ShowOptions {
   std::string table;
   /** A scenario, which is played to its end. */
   std::string scenario;
   /** A state document, or the file in which a run has kept its state. */
   std::string state;
};

/** Prints a table. Returns the exit code; throws InputError and Corestore::StoreError. */
int showTable( ShowOptions const & options );

}  // namespace Runner
