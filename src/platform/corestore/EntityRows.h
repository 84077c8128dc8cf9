#pragma once

#include <functional>
#include <optional>
#include <string>

#include "platform/corestore/Store.h"
#include "platform/kel/Entity.h"

namespace Corestore {

/** How the rows of a root are made up, beyond what its type tells. */
struct RootRows {
   /** The type of a directory's entries; null for one that takes any. */
   Kel::TypeRecord const * entryType = nullptr;
   /** Throws Kel::ValueError when no entry may have that name; null when every name will do. */
   void ( *checkEntryName )( std::string_view name ) = nullptr;
   /** What stands there are books that one agent keeps for itself. */
   bool isBook = false;
};

/** The path of an entity's row. Keys are escaped, so that no two entities share one. */
std::string rowPath( Kel::Entity const & entity );
/** The path of an entry of an attribute, below the path of its entity. */
std::string entryPath( std::string const & entityPath, Kel::AttributeRecord const & attribute,
                       std::string const & key );

/** The row of an entity, which has that path. */
Row entityRow( Kel::Entity const & entity, std::string const & path );
/** Whether the row is that of a root with all scalars at their default. It needs no row, and to put
 *  it takes out the one that stands, but nothing below it. */
bool showsNothing( Row const & row );
/** The row of an entry of a map as it stands, at that path; nothing when it is gone. */
std::optional< Row > entryRow( Kel::Entity const & entity, std::string const & path,
                               Kel::AttributeRecord const & attribute, std::string const & key,
                               RootRows const & rows );
/** Yields the rows of an entity, which has that path, and of all that it holds. */
void forEachRow( Kel::Entity const & entity, std::string const & path, RootRows const & rows,
                 std::function< void( Row const & ) > const & row );

/** Where a row stands. */
struct RowPlace {
   RowForm form = RowForm::entity;
   /** The entity of whose attribute it is an entry; null where that does not stand. The root itself
    *  for a root. */
   Kel::Ptr< Kel::Entity > holder;
   /** Null for a root. */
   Kel::AttributeRecord const * attribute = nullptr;
   /** Empty where there are no keys. */
   std::string key;
   /** Of an entity; null where one of any type may stand. */
   Kel::TypeRecord const * type = nullptr;
};

/** Follows what a row's path has behind that of its root. Throws Kel::ValueError where no row can
 *  stand. */
RowPlace rowPlace( Kel::Ptr< Kel::Entity > const & root, RootRows const & rows,
                   std::string_view below );

/** Runs a mutator of one attribute. */
using Mutate = std::function< void( std::function< void() > const & mutator ) >;

/** Whether the entity of a row stands, for the row of one. */
bool stands( RowPlace const & place );
/** Throws Kel::ValueError, with its place inside the row, for one that cannot be applied there;
 *  what the value of a map's entry says is left to `applyRow`, since to find out is most of its
 *  work. */
void checkRow( RowPlace const & place, Kel::Value const & value );
/** Makes what stands at a place as its row tells, which was checked: each attribute that differs by
 *  one mutator. Throws Kel::ValueError for the value of a map's entry that does not fit, and
 *  changes nothing then. */
void applyRow( RowPlace const & place, Kel::Value const & value, Mutate const & mutate );
/** Takes out what a row stood for, with all below it; of a root, its scalars. Nothing happens when
 *  it is gone already. */
void deleteRow( RowPlace const & place, Mutate const & mutate );

/** The same error, with the row's path in front of its place. */
Kel::ValueError atRow( Kel::ValueError error, std::string_view path );

}  // namespace Corestore
