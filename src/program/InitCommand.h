#pragma once

#include "program/LiveState.h"

namespace Program {

struct InitOptions {
   LiveOptions live;
   /** Say that the state that is there is the right one, though it is older than one before. */
   bool accept = false;
};

/** Sets a switch's state up, once. Throws Corestore::StoreError where that cannot be. */
void initState( InitOptions const & options );

}  // namespace Program
