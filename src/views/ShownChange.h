#pragma once

#include <optional>
#include <string>

#include "platform/corestore/EntityManager.h"

namespace Views {

/** A change of the state as it is shown. */
struct ShownChange {
   /** Of the attribute or entry that has changed. */
   std::string path;
   /** Who writes there. */
   char const * writer;
   /** What stands there now; nothing for what is gone. */
   std::optional< Kel::Value > value = {};
};

/** The path alone, and all of it. */
std::string pathOfChange( Corestore::Change const & change );
ShownChange shown( Corestore::Change const & change );

}  // namespace Views
