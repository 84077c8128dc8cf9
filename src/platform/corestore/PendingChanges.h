#pragma once

#include <functional>
#include <string>
#include <unordered_map>

#include "platform/corestore/EntityRows.h"
#include "platform/corestore/Store.h"
#include "platform/kel/Entity.h"

namespace Corestore {

/** The rows that have changed since they were written last: however often one has changed, it is
 *  written once, as it stands then. */
class PendingChanges {
 public:
   /** An entry that has changed, come or gone; `key` is null for an attribute without keys. */
   void add( Kel::Entity const & entity, Kel::AttributeRecord const & attribute, void const * key );
   /** An entry that is gone and was not told of. */
   void addAbsent( Kel::Entity const & entity, Kel::AttributeRecord const & attribute,
                   std::string const & key );
   /** Of the root of an entity; null for an entity that has no place any more. */
   using RowsOf = std::function< RootRows const *( Kel::Entity const & ) >;
   /** Puts and deletes rows. Those of entities without a place are forgotten. */
   void writeTo( Store & store, RowsOf const & rowsOf );
   void clear();

 private:
   struct Entry {
      Kel::Ptr< Kel::Entity const > entity;
      /** Of the entity's class; null for the row of the entity itself. */
      Kel::AttributeRecord const * attribute;
      Kel::String key;

      friend bool operator==( Entry const &, Entry const & ) = default;
      std::size_t hash() const {
         return Kel::combineHash(
            Kel::combineHash( Kel::hashOf( reinterpret_cast< std::uintptr_t >( entity.ptr() ) ),
                              attribute ? attribute->id() : Kel::attributeLimit ),
            key.hash() );
      }
   };
   enum class Was {
      /** It stood all the time, or has come. */
      Changed,
      /** It is gone. */
      Absent,
      /** It was gone and has come back, or another entity has taken its place. */
      Replaced
   };
   using Entries = Kel::HashMap2018< Entry, Was >;

   /** Whether the entity is written with another one that has come. */
   bool isCovered( Kel::Entity const & entity ) const;

   /** In the order in which they came to stand. */
   Entries entries_;
   /** Those that have come meanwhile. They are written with all that is in them then, so that what
    *  changes in them needs no note. */
   std::unordered_map< Kel::Entity const *, Kel::Ptr< Kel::Entity const > > fresh_;
};

}  // namespace Corestore
