#pragma once

#include <functional>
#include <string>

#include "program/LiveState.h"

namespace Program {

/** A process that serves a switch in some role, for as long as it may and nobody stops it. */
struct LiveService {
   LiveOptions live;
   /** "qorclient": the lease's name, and that of what it says of itself. */
   std::string role;
   /** The rows that it writes. */
   std::function< bool( std::string_view path ) > owns;
   /** The rows that it reads, its own among them; empty for all. */
   std::function< bool( std::string_view path ) > follows = {};
   /** Begins its work, when the state stands. What it makes lives to the end of the process. */
   std::function< void( Corestore::EntityManager & em ) > begin;
   /** The command that finds out why it has ended as it began; empty for none. */
   std::string explainedBy = {};
   /** Where it writes a binary trace; empty for nowhere. */
   std::string traceFile = {};
   double lease = 10;
   bool endIfHeld = false;
   /** "text" or "json". */
   std::string logFormat = "text";
};

/** Runs it in the foreground until SIGTERM or SIGINT, or the loss of its right to write, and yields
 *  the exit code: 0 when all is written. The service manager is told of its readiness and of its
 *  end. */
int runService( LiveService const & service );

}  // namespace Program
