#include "platform/corestore/EntityRows.h"

#include <algorithm>

#include "platform/corestore/ValueText.h"
#include "platform/kel/StandardError.h"

namespace Corestore {

std::string storePath( Kel::Entity const & entity ) {
   if ( !entity.parent() ) {
      return entity.keyName();
   }
   bool const single = entity.parent()->fwkType().attributes()[entity.parentAttribute()]->kind() ==
                       Kel::AttributeKind::Reference;
   return storePath( *entity.parent() ) + Kel::pointerStep( entity.parentAttrName() ) +
          Kel::pointerStep( single ? "" : entity.keyName() );
}

std::optional< Row > rowOf( Kel::Entity const & entity, std::string const & path,
                            Kel::AttributeRecord const & attribute, std::string const & key ) {
   switch ( attribute.kind() ) {
      case Kel::AttributeKind::Scalar:
      case Kel::AttributeKind::Map:
         if ( auto value = attribute.read( entity, key ) ) {
            return Row{ path, attribute.name(), key, jsonLine( *value ) };
         }
         break;
      default:
         if ( Kel::Ptr< Kel::Entity > child = attribute.child( entity, key ) ) {
            return Row{ path, attribute.name(), key, jsonLine( child->fwkType().name ) };
         }
   }
   return std::nullopt;
}

void forEachRow( Kel::Entity const & entity, std::string const & path,
                 std::function< void( Row const & ) > const & row ) {
   for ( auto const & attribute : entity.fwkType().attributes() ) {
      bool const keyed = attribute->kind() != Kel::AttributeKind::Scalar &&
                         attribute->kind() != Kel::AttributeKind::Reference;
      std::vector< std::string > keys( 1 );
      if ( keyed ) {
         keys = attribute->keys( entity );
      }
      for ( std::string const & key : keys ) {
         if ( auto found = rowOf( entity, path, *attribute, key ) ) {
            row( *found );
            if ( Kel::Ptr< Kel::Entity > child = attribute->child( entity, key ) ) {
               forEachRow( *child,
                           path + Kel::pointerStep( attribute->name() ) + Kel::pointerStep( key ),
                           row );
            }
         }
      }
   }
}

namespace {

Kel::AttributeRecord const & attributeOf( Kel::Entity const & entity, Row const & row ) {
   if ( Kel::AttributeRecord const * found = entity.fwkType().attribute( row.attribute ) ) {
      return *found;
   }
   throw Kel::ValueError( "unknown attribute " + Kel::shownName( row.attribute ) );
}

bool holdsEntities( Kel::AttributeRecord const & attribute ) {
   return attribute.kind() != Kel::AttributeKind::Scalar &&
          attribute.kind() != Kel::AttributeKind::Map;
}

/** Takes the next step off the path, without its slash and escapes. */
std::string takeStep( std::string_view & path ) {
   std::size_t const end = std::min( path.find( '/', 1 ), path.size() );
   std::string step;
   for ( std::size_t i = 1; i < end; ++i ) {
      if ( path[i] == '~' && i + 1 != end ) {
         step += path[++i] == '1' ? '/' : '~';
      } else {
         step += path[i];
      }
   }
   path.remove_prefix( end );
   return step;
}

}  // namespace

Kel::Ptr< Kel::Entity > entityAt( Kel::Ptr< Kel::Entity > const & root, std::string_view path ) {
   Kel::Ptr< Kel::Entity > entity = root;
   path.remove_prefix( root->keyName().size() );
   while ( entity && !path.empty() ) {
      Kel::AttributeRecord const * attribute = entity->fwkType().attribute( takeStep( path ) );
      if ( !attribute || path.empty() || !holdsEntities( *attribute ) ) {
         return nullptr;
      }
      std::string const key = takeStep( path );
      attribute->checkKey( key );
      entity = attribute->child( *entity, key );
   }
   return entity;
}

void deleteRow( Kel::Entity & entity, Row const & row ) {
   Kel::AttributeRecord const & attribute = attributeOf( entity, row );
   attribute.checkKey( row.key );
   if ( holdsEntities( attribute ) ) {
      attribute.childDel( entity, row.key );
   } else {
      attribute.write( entity, row.key, Kel::Value() );
   }
}

void applyRow( Kel::Entity & entity, Row const & row ) {
   Kel::AttributeRecord const * const attribute = &attributeOf( entity, row );
   Kel::Value value;
   try {
      value = parseJson( row.value );
   } catch ( TextError const & e ) {
      throw Kel::ValueError( e.what() );
   }
   if ( !holdsEntities( *attribute ) ) {
      attribute->write( entity, row.key, value );
      return;
   }
   std::string const * typeName = value.as< std::string >();
   Kel::TypeRecord const * type = attribute->elementType();
   if ( attribute->kind() == Kel::AttributeKind::Directory ) {
      type = typeName ? Kel::typeNode( *typeName ) : nullptr;
      if ( !type ) {
         throw Kel::ValueError( "unknown type in " + Kel::shownName( row.value ) );
      }
   } else if ( !typeName || *typeName != type->name ) {
      throw Kel::ValueError( std::string( "wants type " ) + type->name + ", not " +
                             Kel::shownName( row.value ) );
   }
   attribute->childIs( entity, row.key, type, []( Kel::Entity & ) {} );
}

}  // namespace Corestore
