#include "documents/StateCheck.h"

#include "documents/Document.h"
#include "platform/kel/StandardError.h"
#include "records/catalog/Catalog.h"

namespace Documents {

namespace {

using Kel::AttributeKind;
using Kel::Value;
using Kel::ValueError;

Kel::AttributeRecord const & attributeOf( Kel::TypeRecord const & type, std::string_view name ) {
   Kel::AttributeRecord const * attribute = type.attribute( name );
   if ( !attribute ) {
      std::vector< std::string > names;
      for ( auto const & known : type.attributes() ) {
         names.emplace_back( known->name() );
      }
      throw ValueError( std::string( "unknown attribute of " ) + type.name +
                        "; there are: " + Kel::shownNames( names ) );
   }
   return *attribute;
}

Catalog::Place const & placeFor( std::string_view path ) {
   Catalog::Place const * place = Catalog::placeAt( path );
   if ( !place ) {
      std::vector< std::string > all;
      std::vector< std::string > near;
      std::string_view const folder = path.substr( 0, path.find( '/' ) );
      for ( Catalog::Place const & known : Catalog::placesByPath() ) {
         std::string_view const other = known.path;
         all.emplace_back( other );
         if ( other.substr( 0, other.find( '/' ) ) == folder ) {
            near.emplace_back( other );
         }
      }
      throw ValueError( "unknown path; there are: " +
                        Kel::shownNames( near.empty() ? all : near ) );
   }
   return *place;
}

void checkAttribute( Kel::AttributeRecord const & attribute, Value const & value );

void checkMembers( Kel::TypeRecord const & type, Value const & value ) {
   for ( auto const & member : objectOf( value ) ) {
      below( member.first,
             [&] { checkAttribute( attributeOf( type, member.first ), member.second ); } );
   }
}

void checkAttribute( Kel::AttributeRecord const & attribute, Value const & value ) {
   if ( attribute.kind() == AttributeKind::Scalar ) {
      attribute.check( "", value );
   } else if ( value.isNull() ) {
      return;
   } else if ( attribute.kind() == AttributeKind::Reference ) {
      checkMembers( *attribute.elementType(), value );
   } else {
      for ( auto const & member : objectOf( value ) ) {
         below( member.first, [&] {
            attribute.checkKey( member.first );
            if ( attribute.kind() == AttributeKind::Map ) {
               attribute.check( member.first, member.second );
            } else if ( !member.second.isNull() ) {
               checkMembers( *attribute.elementType(), member.second );
            }
         } );
      }
   }
}

void checkTypeName( Catalog::Place const & place, Value const & value ) {
   auto const & name = wanted< std::string >( value, "a text" );
   if ( name != place.entryTypeRecord().name ) {
      throw ValueError( ( Kel::typeNode( name ) ? "type " : "unknown type " ) +
                        Kel::shownName( name ) + ", wants " + place.entryTypeRecord().name );
   }
}

void checkEntry( Catalog::Place const & place, Value const & value ) {
   for ( auto const & member : objectOf( value ) ) {
      below( member.first, [&] {
         if ( member.first == "@type" ) {
            checkTypeName( place, member.second );
         } else {
            checkAttribute( attributeOf( place.entryTypeRecord(), member.first ), member.second );
         }
      } );
   }
}

void checkDirectory( Catalog::Place const & place, Value const & value ) {
   for ( auto const & entry : objectOf( value ) ) {
      below( entry.first, [&] {
         if ( place.checkEntryName ) {
            place.checkEntryName( entry.first );
         }
         if ( !entry.second.isNull() ) {
            checkEntry( place, entry.second );
         }
      } );
   }
}

}  // namespace

void checkState( Value const & document ) {
   for ( auto const & member : objectOf( document ) ) {
      below( member.first, [&] {
         Catalog::Place const & place = placeFor( member.first );
         if ( member.second.isNull() ) {
            return;
         }
         if ( place.entryType ) {
            checkDirectory( place, member.second );
         } else {
            checkMembers( place.typeRecord(), member.second );
         }
      } );
   }
}

void checkRow( std::string_view path, std::string_view attributeName, Value const & key ) {
   below( path, [&] {
      Catalog::Place const & place = placeFor( path );
      below( attributeName, [&] {
         Kel::AttributeRecord const & attribute = attributeOf( place.typeRecord(), attributeName );
         if ( attribute.kind() != AttributeKind::Map ) {
            throw ValueError( "is no table" );
         }
         attribute.checkKey( wanted< std::string >( key, "a key" ) );
      } );
   } );
}

}  // namespace Documents
