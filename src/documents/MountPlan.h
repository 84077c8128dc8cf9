#pragma once

#include <span>
#include <string_view>

#include "platform/corestore/EntityManager.h"

/*
 * The switch's whole state: which entity stands at which path. Documents are read, checked and
 * shown by this table, with or without an agent.
 */

namespace Runner {

struct MountPoint {
   char const * path;
   Kel::TypeRecord const & ( *type )();
   /** The type of a directory's entries; null for any other entity. */
   Kel::TypeRecord const & ( *entryType )() = nullptr;
   /** Throws Kel::ValueError when no entry may have that name; null when every name will do. */
   void ( *checkEntryName )( std::string_view name ) = nullptr;
};

std::span< MountPoint const > mountPlan();
/** Null for a path that isn't in the plan. */
MountPoint const * mountPoint( std::string_view path );

/** Makes the entities that are not there yet. Throws Kel::ValueError when what stands there already
 *  has another type than the plan's, entries of directories included. */
void createMountPlan( Corestore::EntityManager & em );

}  // namespace Runner
