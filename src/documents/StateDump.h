#pragma once

#include "platform/corestore/EntityManager.h"
#include "platform/kel/Value.h"

namespace Documents {

/** An entity as a document shows it: attributes at their default and empty collections are left
 *  out, entries of a directory carry their type. */
Kel::Value entityDocument( Kel::Entity const & entity );

/** All that stands, as a state document. */
Kel::Value stateDocument( Corestore::EntityManager const & em );

}  // namespace Documents
