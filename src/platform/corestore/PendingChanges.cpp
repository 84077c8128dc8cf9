#include "platform/corestore/PendingChanges.h"

#include <utility>

namespace Corestore {

bool PendingChanges::isCovered( Kel::Entity const & entity ) const {
   for ( Kel::Entity const * at = &entity; at && !fresh_.empty(); at = at->parent() ) {
      if ( fresh_.contains( at ) ) {
         return true;
      }
   }
   return false;
}

void PendingChanges::add( Kel::Entity const & entity, Kel::AttributeRecord const & attribute,
                          void const * key ) {
   if ( isCovered( entity ) ) {
      return;
   }
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
   if ( attribute.kind() != Kel::AttributeKind::Map ) {
      Kel::Ptr< Kel::Entity const > const child = attribute.child( entity, text );
      fresh_.emplace( child.ptr(), child );
   }
}

void PendingChanges::addAbsent( Kel::Entity const & entity, Kel::AttributeRecord const & attribute,
                                std::string const & key ) {
   entries_.set( Entry{ &entity, &attribute, key }, Was::Absent );
}

void PendingChanges::clear() {
   entries_.clear();
   fresh_.clear();
}

void PendingChanges::writeTo( Store & store, RowsOf const & rowsOf ) {
   struct Place {
      /** Null for none. */
      RootRows const * rows = nullptr;
      std::string path;
   };
   // Many of a turn's changes are of few entities.
   std::unordered_map< Kel::Entity const *, Place > places;
   auto const put = [&store]( Row const & row ) { store.put( row ); };
   // A store changes nothing here.
   for ( Entries::Cursor cursor( entries_ ); cursor; cursor.advance() ) {
      auto const & [entry, was] = cursor.current();
      Kel::Entity const & entity = *entry.entity;
      auto const [place, isNew] = places.try_emplace( &entity );
      auto & [rows, path] = place->second;
      if ( isNew && ( rows = rowsOf( entity ) ) ) {
         path = rowPath( entity );
      }
      if ( !rows || isCovered( entity ) ) {
         continue;
      }
      if ( !entry.attribute ) {
         store.put( entityRow( entity, path ) );
         continue;
      }
      std::string const key( entry.key.view() );
      std::string const at = entryPath( path, *entry.attribute, key );
      Kel::Ptr< Kel::Entity > const child = entry.attribute->child( entity, key );
      auto const row = entryRow( entity, at, *entry.attribute, key, *rows );
      if ( was != Was::Changed || ( !row && !child ) ) {
         store.del( at );
      }
      if ( row ) {
         store.put( *row );
      } else if ( child ) {
         forEachRow( *child, at, *rows, put );
      }
   }
   clear();
}

}  // namespace Corestore
