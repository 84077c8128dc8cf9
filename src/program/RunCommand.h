#pragma once

#include <string>

namespace Program {

struct RunOptions {
   std::string scenario;
   /** File in which the state is kept; empty to keep it in memory. */
   std::string state;
   /** File for the final state; "-" is standard output, empty for none. */
   std::string dump;
   /** Directory for the state after each step; empty for none. */
   std::string dumpEach;
   /** File for the change journal; empty for none. */
   std::string journal;
   /** File for the binary trace; empty for none. */
   std::string traceFile;
};

/** Plays a scenario. Returns the exit code; throws InputError and Corestore::StoreError. */
int runScenario( RunOptions const & options );

}  // namespace Program
