#pragma once

#include "program/LiveState.h"

namespace Program {

struct ServeOptions {
   LiveOptions live;
   /** End when another agent serves the switch, in place of waiting for it. */
   bool endIfHeld = false;
   /** Seconds for which the switch stays the agent's without a word of it. */
   double lease = 10;
   /** "text" or "json". */
   std::string logFormat = "text";
   /** Empty for none. */
   std::string traceFile;
};

/** The agent as a service: runs until SIGTERM, and yields the exit code. */
int serveSwitch( ServeOptions const & options );

struct SimulateOptions {
   LiveOptions live;
   bool endIfHeld = false;
   double lease = 10;
   std::string logFormat = "text";
   /** As in a scenario. */
   std::string vlanPool;
   std::uint64_t flowCapacity = 0;
   double answerAfter = 0;
};

/** The simulated agents of a switch as a service. */
int simulateSwitch( SimulateOptions const & options );

}  // namespace Program
