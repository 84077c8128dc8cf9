#include "views/ShownChange.h"

#include "platform/corestore/EntityRows.h"
#include "records/catalog/Catalog.h"

namespace Views {

namespace {

std::string keyOf( Corestore::Change const & change ) {
   return change.key ? change.attribute.keyText( change.key ) : std::string();
}

std::optional< Kel::Value > standingAt( Corestore::Change const & change ) {
   Kel::AttributeRecord const & attribute = change.attribute;
   std::string const key = keyOf( change );
   if ( attribute.kind() == Kel::AttributeKind::Scalar ) {
      // One at its default is not read: a null patch would leave it as it is.
      auto value = attribute.read( change.entity, key );
      return value ? value : attribute.preview( change.entity, key, {} );
   }
   if ( attribute.kind() == Kel::AttributeKind::Map ) {
      return attribute.read( change.entity, key );
   }
   auto const child = attribute.child( change.entity, key );
   return child ? std::optional( Corestore::entityRow( *child, "" ).value ) : std::nullopt;
}

}  // namespace

std::string pathOfChange( Corestore::Change const & change ) {
   std::string const entity = Corestore::rowPath( change.entity );
   return change.attribute.kind() == Kel::AttributeKind::Scalar
             ? entity + Kel::pointerStep( change.attribute.name() )
             : Corestore::entryPath( entity, change.attribute, keyOf( change ) );
}

ShownChange shown( Corestore::Change const & change ) {
   Catalog::Place const * const place = Catalog::placeAt( change.rootPath );
   return { pathOfChange( change ), place ? place->writer : "someone", standingAt( change ) };
}

}  // namespace Views
