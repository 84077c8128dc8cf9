#pragma once

#include <functional>
#include <optional>
#include <string>

#include "platform/corestore/Store.h"
#include "platform/kel/Entity.h"

namespace Corestore {

/** The path of an entity for a store: keys are escaped, so that no two entities share one. */
std::string storePath( Kel::Entity const & entity );

/** Yields the rows of an entity, which has that path, and of all that it holds; scalars at their
 *  default have none. */
void forEachRow( Kel::Entity const & entity, std::string const & path,
                 std::function< void( Row const & ) > const & row );

/** The row of one attribute entry as it stands; nothing when it is gone or at its default. */
std::optional< Row > rowOf( Kel::Entity const & entity, std::string const & path,
                            Kel::AttributeRecord const & attribute, std::string const & key );

/** The entity that has that path in a store, on or below `root`, whose own path is a part of it;
 * null when there is none. */
Kel::Ptr< Kel::Entity > entityAt( Kel::Ptr< Kel::Entity > const & root, std::string_view path );

/** Takes out what a row stood for; nothing happens when it is gone already. Throws Kel::ValueError
 *  when there can be no such row. */
void deleteRow( Kel::Entity & entity, Row const & row );

/** Applies one row to the entity at its path. Throws Kel::ValueError when it does not fit. */
void applyRow( Kel::Entity & entity, Row const & row );

}  // namespace Corestore
