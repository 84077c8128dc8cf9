#pragma once

#include <functional>
#include <string_view>
#include <vector>

#include "platform/corestore/EntityManager.h"
#include "platform/kel/Value.h"

namespace Documents {

/** Runs one mutator call, with whatever must be done around it. */
using Mutate = std::function< void( std::function< void() > const & mutator ) >;

/** Throws Kel::ValueError, with its place, when a checked document adds more rows to a table in
 *  shared memory than there is room for. */
void checkRoom( Corestore::EntityManager const & em, Kel::Value const & document );

/** The members of a document that lead to the one that is being applied. */
using Place = std::vector< std::string_view >;

/**
 * Applies a checked document as a JSON merge patch, in its own order, by one mutator call per
 * change, and keeps `place`, which is empty before and after. A new entity gets its scalars before
 * it is announced, and the rest after that. Null for a whole collection or entity deletes its
 * members one by one.
 */
void applyState( Corestore::EntityManager const & em, Kel::Value const & document,
                 Mutate const & mutate, Place & place );
/** The same for whoever doesn't ask for the place. */
void applyState( Corestore::EntityManager const & em, Kel::Value const & document,
                 Mutate const & mutate );

}  // namespace Documents
