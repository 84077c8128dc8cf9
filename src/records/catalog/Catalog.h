#pragma once

#include <span>
#include <string_view>

#include "platform/corestore/EntityManager.h"

/*
 * The catalog: what stands at which path of the state, for the agent that mounts it, for the
 * documents that show it and for the people who read it.
 */

namespace Catalog {

struct Place {
   char const * path;
   /** By name, since the product's own types are unknown here. */
   char const * type;
   /** The agent's mount mode (Corestore::Mount). */
   char const * mode;
   /** The name of the agent's input that holds the entity. */
   char const * input;
   char const * writer;
   char const * meaning;
   /** The type of a directory's entries; null for any other entity. */
   char const * entryType = nullptr;
   /** Throws Kel::ValueError when no entry may have that name; null when every name will do. */
   void ( *checkEntryName )( std::string_view name ) = nullptr;
   /** A table in shared memory, which is mounted by itself. */
   bool isTable = false;
   /** The agent's own books, which nobody else watches. */
   bool isBook = false;
   /** The one entry of a directory that is the agent's where others write there too; null where the
    *  agent writes all or nothing. */
   char const * agentEntry = nullptr;

   Kel::TypeRecord const & typeRecord() const;
   /** For directories alone. */
   Kel::TypeRecord const & entryTypeRecord() const;
};

/** All places, in the order in which the agent mounts them; the tables come last. */
std::span< Place const > places();
std::span< Place const > placesByPath();
/** Null for a path that isn't in the catalog. */
Place const * placeAt( std::string_view path );
/** The place of one of the agent's inputs, which must be in the catalog. */
Place const & placeOf( std::string_view input );
char const * pathOf( std::string_view input );

/** The place on or below which a row of the state (Corestore::Row) stands; null for none. */
Place const * placeOfRow( std::string_view rowPath );
/** Whether a row is written by the agent. */
bool isAgents( std::string_view rowPath );

/** Makes the entities that are not there yet, and tells how their rows are made up. Throws
 *  Kel::ValueError when what stands there already has another type than the catalog's. */
void createPlaces( Corestore::EntityManager & em );

}  // namespace Catalog
