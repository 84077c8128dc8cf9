#pragma once

#include <string>

namespace Runner {

struct RunOptions {
   std::string scenario;
   /** File for the final state; "-" is standard output, empty for none. */
   std::string dump;
   /** Directory for the state after each step; empty for none. */
   std::string dumpEach;
   /** File for the change journal; empty for none. */
   std::string journal;
};

/** Plays a scenario. Returns the exit code; throws InputError. */
int runScenario( RunOptions const & options );

}  // namespace Runner
