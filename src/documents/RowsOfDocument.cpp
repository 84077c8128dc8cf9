#include "documents/RowsOfDocument.h"

#include "documents/Document.h"
#include "records/catalog/Catalog.h"

namespace Documents {

namespace {

using Kel::AttributeKind;
using Kel::AttributeRecord;
using Kel::Value;

void addEntity( TouchedRows & rows, Kel::TypeRecord const & type, Value const & part,
                std::string const & path );

void addAttribute( TouchedRows & rows, AttributeRecord const & attribute, Value const & value,
                   std::string const & path ) {
   if ( attribute.kind() == AttributeKind::Reference ) {
      addEntity( rows, *attribute.elementType(), value, path );
      return;
   }
   if ( value.isNull() ) {
      rows.taken.push_back( path );
      return;
   }
   for ( auto const & [key, entry] : objectOf( value ) ) {
      // A key may be spelt in more than one way, a row's path in one.
      std::string const row = path + Kel::pointerStep( attribute.plainKey( key ) );
      if ( attribute.kind() == AttributeKind::Map ) {
         rows.named.push_back( row );
      } else {
         addEntity( rows, *attribute.elementType(), entry, row );
      }
   }
}

void addEntity( TouchedRows & rows, Kel::TypeRecord const & type, Value const & part,
                std::string const & path ) {
   rows.named.push_back( path );
   if ( part.isNull() ) {
      rows.taken.push_back( path );
      return;
   }
   for ( auto const & [name, value] : objectOf( part ) ) {
      // The name of an entry's type is no attribute.
      AttributeRecord const * const attribute = type.attribute( name );
      if ( attribute && attribute->kind() != AttributeKind::Scalar ) {
         addAttribute( rows, *attribute, value, path + Kel::pointerStep( name ) );
      }
   }
}

}  // namespace

TouchedRows rowsOf( Value const & document ) {
   TouchedRows rows;
   for ( auto const & [path, part] : objectOf( document ) ) {
      Catalog::Place const & place = *Catalog::placeAt( path );
      if ( !place.entryType || part.isNull() ) {
         addEntity( rows, place.typeRecord(), part, path );
         continue;
      }
      for ( auto const & [name, entry] : objectOf( part ) ) {
         addEntity( rows, place.entryTypeRecord(), entry, path + Kel::pointerStep( name ) );
      }
   }
   return rows;
}

}  // namespace Documents
