#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "platform/corestore/EntityManager.h"
#include "scenario/Switch.h"

/* An agent on a copy of a switch's state, to see what it would do. */

namespace Program {

/** The rows of a state that `wanted` takes. */
Corestore::MemoryStore copyOf( Corestore::EntityManager const & em,
                               std::function< bool( std::string_view path ) > const & wanted );

/**
 * Applies a checked patch to a copy of the state that an agent works on, in a process of its own,
 * and says what ends that agent, with the place in the document where one is known; nothing when it
 * lives. Where no agent lives on the state as it is, one begins on the patched one. The state
 * itself is left alone.
 */
struct FatalPatch {
   std::string pointer;
   std::string reason;
};
std::optional< FatalPatch > tryPatch( Corestore::EntityManager const & em,
                                      Kel::Value const & document );

/** A row with which no agent can begin on a state, while one can on those before it. */
struct FatalRow {
   std::string path;
   std::string reason;
};
/** Looks for it with agents in processes of their own; nothing where one lives on all rows. */
std::optional< FatalRow > fatalRow( Corestore::EntityManager const & em );

}  // namespace Program
