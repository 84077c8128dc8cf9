#pragma once

#include <functional>
#include <string>

#include "platform/corestore/Store.h"
#include "platform/kel/Entity.h"

namespace Corestore {

/** The attribute entries that have changed since they were written last: however often one has
 *  changed, it is written once, as it stands then. */
class PendingChanges {
 public:
   /** An entry that has changed, come or gone; `key` is null for an attribute without keys. */
   void add( Kel::Entity const & entity, Kel::AttributeRecord const & attribute, void const * key );
   /** An entry that is gone and was not told of. */
   void addAbsent( Kel::Entity const & entity, Kel::AttributeRecord const & attribute,
                   std::string const & key );
   /** Puts and deletes rows. Entries of entities that `isHeld` denies have no place any more. */
   void writeTo( Store & store, std::function< bool( Kel::Entity const & ) > const & isHeld );

 private:
   struct Entry {
      Kel::Ptr< Kel::Entity const > entity;
      Kel::AttributeRecord const * attribute;  // of the entity's class
      std::string key;

      friend bool operator==( Entry const &, Entry const & ) = default;
      std::size_t hash() const {
         return Kel::combineHash(
            Kel::combineHash( Kel::hashOf( reinterpret_cast< std::uintptr_t >( entity.ptr() ) ),
                              attribute->id() ),
            std::hash< std::string >{}( key ) );
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

   /** In the order in which they came to stand. */
   Entries entries_;
};

}  // namespace Corestore
