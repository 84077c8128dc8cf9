#pragma once

#include <string>

#include "program/LiveState.h"

namespace Program {

struct ApplyOptions {
   /** A state document, as a JSON merge patch. */
   std::string document;
   LiveOptions live;
};

/** Changes the live state, whole or not at all. Throws InputError for a document that does not fit
 *  or that would end the agent, and Corestore::StoreError. */
void applyDocument( ApplyOptions const & options );

struct GetOptions {
   /** A path of the state, or of something below one; empty for everything. */
   std::string path;
   LiveOptions live;
};

/** Prints the live state as a state document: all of it, or what stands at a path. Throws
 * InputError for a path at which nothing stands, and Corestore::StoreError. */
void getState( GetOptions const & options );

}  // namespace Program
