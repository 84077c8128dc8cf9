#include "documents/StateDump.h"

#include "records/catalog/Catalog.h"

namespace Documents {

namespace {

using Kel::AttributeKind;
using Kel::AttributeRecord;
using Kel::Value;

Value::Object objectFor( Kel::Entity const & entity );

Value::Object membersOf( Kel::Entity const & entity, AttributeRecord const & attribute ) {
   Value::Object members;
   for ( std::string const & key : attribute.keys( entity ) ) {
      if ( attribute.kind() == AttributeKind::Map ) {
         if ( auto value = attribute.read( entity, key ) ) {
            members.emplace_back( key, std::move( *value ) );
         }
      } else {
         members.emplace_back( key, entityDocument( *attribute.child( entity, key ) ) );
      }
   }
   return members;
}

Value::Object objectFor( Kel::Entity const & entity ) {
   Value::Object object;
   for ( auto const & attribute : entity.fwkType().attributes() ) {
      switch ( attribute->kind() ) {
         case AttributeKind::Scalar:
            if ( auto value = attribute->read( entity, "" ) ) {
               object.emplace_back( attribute->name(), std::move( *value ) );
            }
            break;
         case AttributeKind::Reference:
            if ( auto child = attribute->child( entity, "" ) ) {
               object.emplace_back( attribute->name(), entityDocument( *child ) );
            }
            break;
         case AttributeKind::Directory:
            for ( auto & member : membersOf( entity, *attribute ) ) {
               object.push_back( std::move( member ) );
            }
            break;
         default:
            if ( auto members = membersOf( entity, *attribute ); !members.empty() ) {
               object.emplace_back( attribute->name(), std::move( members ) );
            }
      }
   }
   return object;
}

bool isDirectoryEntry( Kel::Entity const & entity ) {
   return entity.parent() &&
          entity.parent()->fwkType().attributes()[entity.parentAttribute()]->kind() ==
             AttributeKind::Directory;
}

}  // namespace

Value entityDocument( Kel::Entity const & entity ) {
   Value::Object object = objectFor( entity );
   if ( isDirectoryEntry( entity ) ) {
      object.emplace( object.begin(), "@type", entity.fwkType().name );
   }
   return object;
}

Value stateDocument( Corestore::EntityManager const & em ) {
   Value::Object document;
   for ( Catalog::Place const & place : Catalog::placesByPath() ) {
      document.emplace_back( place.path, entityDocument( *em.getEntity( place.path ) ) );
   }
   return document;
}

}  // namespace Documents
