#include "platform/kel/ValueTraits.h"

namespace Kel::Detail {

void appendKeyField( std::string & text, std::string_view field, bool first ) {
   if ( !first ) {
      text += '|';
   }
   for ( char c : field ) {
      if ( c == '|' || c == '\\' ) {
         text += '\\';
      }
      text += c;
   }
}

std::vector< std::string > splitKeyFields( std::string_view text, std::size_t count ) {
   std::vector< std::string > fields( 1 );
   for ( std::size_t i = 0; i != text.size(); ++i ) {
      if ( text[i] == '|' ) {
         fields.emplace_back();
      } else {
         if ( text[i] == '\\' && ( ++i == text.size() || ( text[i] != '|' && text[i] != '\\' ) ) ) {
            throw ValueError( "key \"" + std::string( text ) +
                              "\" has a backslash before neither | nor \\" );
         }
         fields.back() += text[i];
      }
   }
   if ( fields.size() != count ) {
      throw ValueError( "key \"" + std::string( text ) + "\" needs " + std::to_string( count ) +
                        " fields joined by |" );
   }
   return fields;
}

void failKind( char const * wanted, Value const & found ) {
   throw ValueError( std::string( "wants " ) + wanted + ", not " + found.kindName() );
}

}  // namespace Kel::Detail
