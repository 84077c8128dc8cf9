#include "platform/corestore/PendingChanges.h"

#include <unordered_map>
#include <unordered_set>
#include <utility>

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
   if ( attribute.kind() == Kel::AttributeKind::Scalar ) {
      entries_.set( Entry{ &entity, nullptr, {} }, Was::Changed );
      return;
   }
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
      entries_.add( entry, Was::Changed );
   }
}

void PendingChanges::addAbsent( Kel::Entity const & entity, Kel::AttributeRecord const & attribute,
                                std::string const & key ) {
   entries_.set( Entry{ &entity, &attribute, key }, Was::Absent );
}

void PendingChanges::writeTo( Store & store, RowsOf const & rowsOf ) {
   struct Place {
      /** Null for none. */
      RootRows const * rows;
      std::string path;
   };
   // Many of a turn's changes are of few entities.
   std::unordered_map< Kel::Entity const *, Place > places;
   WrittenWhole whole;
   auto const put = [&store]( Row const & row ) { store.put( row ); };
   using Walk = Kel::MemberWalk< Entries >;
   for ( auto const & [entry, was] : Walk( nullptr, entries_ ) ) {
      Kel::Entity const & entity = *entry.entity;
      auto const [place, fresh] = places.try_emplace( &entity );
      auto & [rows, path] = place->second;
      if ( fresh ) {
         rows = rowsOf( entity );
         path = rows ? rowPath( entity ) : std::string();
      }
      if ( !rows || whole.covers( entity ) ) {
         continue;
      }
      if ( !entry.attribute ) {
         store.put( entityRow( entity, path ) );
         continue;
      }
      std::string const at = entryPath( path, *entry.attribute, entry.key );
      Kel::Ptr< Kel::Entity > const child = entry.attribute->child( entity, entry.key );
      auto const row = entryRow( entity, at, *entry.attribute, entry.key, *rows );
      if ( was != Was::Changed || ( !row && !child ) ) {
         store.del( at );
      }
      if ( row ) {
         store.put( *row );
      } else if ( child ) {
         forEachRow( *child, at, *rows, put );
         whole.add( *child );
      }
   }
   entries_.clear();
}

}  // namespace Corestore
