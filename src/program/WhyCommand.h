#pragma once

#include <string>

#include "program/StateSource.h"

namespace Program {

/** Which flow is explained, of which state, and for whom. */
struct WhyOptions {
   /** A flow's name, alone or behind its fragment or VRF and "/". */
   std::string flow;
   StateSource source;
   /** For programs: a JSON array. */
   bool json = false;
};

/** Prints the chain of each flow of that name. Returns the exit code: 2, and a line on standard
 *  error, when there is none. Throws InputError and Corestore::StoreError. */
int explainFlow( WhyOptions const & options );

}  // namespace Program
