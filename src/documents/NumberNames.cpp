#include "documents/NumberNames.h"

#include <algorithm>

#include "documents/Document.h"
#include "records/catalog/Catalog.h"
#include "records/catalog/Meaning.h"

namespace Documents {

namespace {

using Catalog::Meaning;
using Kel::Value;

/** Runs `f` for each member of an object, and does nothing for any other value. */
template < class F >
void forEachMember( Value & value, F && f ) {
   if ( auto * object = value.as< Value::Object >() ) {
      for ( auto & member : *object ) {
         below( member.first, [&] { f( member.first, member.second ); } );
      }
   }
}

std::uint64_t numberNamed( Meaning const & type, std::string const & name ) {
   auto const found = std::ranges::find_if(
      type.numbers, [&]( auto const & number ) { return name == number.name; } );
   if ( found == type.numbers.end() ) {
      std::string names;
      for ( Catalog::NamedNumber const & number : type.numbers ) {
         names += ( names.empty() ? "" : ", " ) + std::string( number.name );
      }
      Kel::Detail::failText( "a number or one of " + names, name );
   }
   return found->number;
}

void putNumber( Value & value, Meaning const & type ) {
   if ( auto const * name = value.as< std::string >() ) {
      value = numberNamed( type, *name );
   } else if ( auto const * names = value.as< Value::Array >(); names && type.areBits ) {
      std::uint64_t bits = 0;
      for ( Value const & each : *names ) {
         bits |= numberNamed( type, wanted< std::string >( each, "a name" ) );
      }
      value = bits;
   }
}

/** In a value of that type: an entity, a record or a number. */
void putNumbers( Value & value, std::string const & typeName ) {
   Meaning const * const type = Catalog::meaningNamed( typeName );
   if ( !type ) {
      return;
   }
   if ( !type->numbers.empty() ) {
      putNumber( value, *type );
      return;
   }
   forEachMember( value, [&]( std::string const & name, Value & member ) {
      auto const part = std::ranges::find( type->parts, name, &Catalog::Part::name );
      if ( part == type->parts.end() ) {
         return;
      }
      if ( part->key.words.empty() ) {
         putNumbers( member, part->value.type );
      } else {
         forEachMember( member, [&]( std::string const &, Value & entry ) {
            putNumbers( entry, part->value.type );
         } );
      }
   } );
}

}  // namespace

Value withNumbers( Value document ) {
   forEachMember( document, []( std::string const & path, Value & content ) {
      Catalog::Place const * const place = Catalog::placeAt( path );
      if ( place && place->entryType ) {
         forEachMember( content, [&]( std::string const &, Value & entry ) {
            putNumbers( entry, place->entryType );
         } );
      } else if ( place ) {
         putNumbers( content, place->type );
      }
   } );
   return document;
}

}  // namespace Documents
