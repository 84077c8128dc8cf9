#pragma once

#include <optional>
#include <string>

#include "platform/corestore/EntityManager.h"
#include "platform/slab/Table.h"

/* How an agent mounts the tables in shared memory. */

namespace KelSlab {

enum class KelSlabType { writer_ = 0, reader_ = 3 };

/** A collection of a table and how many rows it may hold. */
struct CollectionInfo {
   Kel::String name;
   std::size_t length;
};

class MountInfo {
 public:
   explicit MountInfo( KelSlabType type ) : type_( type ) {}
   void collectionInfoIs( CollectionInfo const & info ) { collection_ = info; }

   KelSlabType type() const { return type_; }
   std::optional< CollectionInfo > const & collectionInfo() const { return collection_; }

 private:
   KelSlabType type_;
   std::optional< CollectionInfo > collection_;
};

class Mount {
 public:
   explicit Mount( Kel::Ptr< Corestore::EntityManager > em ) : em_( std::move( em ) ) {}

   /** Clears away what processes that died have left in shared memory. */
   void handleInitialized() const;
   /** A writer's collection takes the length that its mount information gives. */
   void doMount( Kel::String const & path, Kel::String const & type, MountInfo const & info );
   /** Null when nothing is mounted there. */
   Kel::Ptr< Kel::Entity > getEntity( Kel::String const & path ) const;

 private:
   Kel::Ptr< Corestore::EntityManager > em_;
};

}  // namespace KelSlab
