#include "platform/corestore/PendingChanges.h"

#include <unordered_set>
#include <utility>

#include "platform/corestore/EntityRows.h"

namespace Corestore {

namespace {

/** The entities that were written with all that is in them. */
class WrittenWhole {
 public:
   void add( Kel::Entity const & entity ) { entities_.insert( &entity ); }
   bool covers( Kel::Entity const & entity ) const {
      for ( Kel::Entity const * at = &entity; at && !entities_.empty(); at = at->parent() ) {
         if ( entities_.contains( at ) ) {
            return true;
         }
      }
      return false;
   }

 private:
   std::unordered_set< Kel::Entity const * > entities_;
};

}  // namespace

void PendingChanges::add( Kel::Entity const & entity, Kel::AttributeRecord const & attribute,
                          void const * key ) {
   std::string const text = key ? attribute.keyText( key ) : std::string();
   if ( !attribute.has( entity, key ) ) {
      addAbsent( entity, attribute, text );
      return;
   }
   Entry const entry{ &entity, &attribute, text };
   Was const * const before = entries_.find( entry );
   if ( before && *before == Was::Absent ) {
      // It stands behind what has come meanwhile.
      entries_.erase( entry );
      entries_.set( entry, Was::Replaced );
   } else if ( attribute.kind() == Kel::AttributeKind::Reference ) {
      entries_.set( entry, Was::Replaced );
   } else if ( !before ) {
      entries_.set( entry, Was::Changed );
   }
}

void PendingChanges::addAbsent( Kel::Entity const & entity, Kel::AttributeRecord const & attribute,
                                std::string const & key ) {
   entries_.set( Entry{ &entity, &attribute, key }, Was::Absent );
}

void PendingChanges::writeTo( Store & store,
                              std::function< bool( Kel::Entity const & ) > const & isHeld ) {
   WrittenWhole whole;
   Kel::Entity const * last = nullptr;
   std::string path;
   using Walk = Kel::MemberWalk< Entries >;
   for ( auto const & [entry, was] : Walk( nullptr, entries_ ) ) {
      Kel::Entity const & entity = *entry.entity;
      if ( !isHeld( entity ) || whole.covers( entity ) ) {
         continue;
      }
      // Changes of one entity often come together.
      if ( std::exchange( last, &entity ) != &entity ) {
         path = storePath( entity );
      }
      auto const row = rowOf( entity, path, *entry.attribute, entry.key );
      if ( was != Was::Changed || !row ) {
         store.del( path, entry.attribute->name(), entry.key );
      }
      if ( row ) {
         store.put( *row );
         if ( auto const child = entry.attribute->child( entity, entry.key ) ) {
            forEachRow( *child, storePath( *child ),
                        [&store]( Row const & below ) { store.put( below ); } );
            whole.add( *child );
         }
      }
   }
   entries_.clear();
}

}  // namespace Corestore
