#include "platform/kel/TextForm.h"

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

std::vector< std::string > splitKeyFields( std::string_view text,
                                           std::span< char const * const > names ) {
   std::vector< std::string > fields( 1 );
   for ( std::size_t i = 0; i != text.size(); ++i ) {
      if ( text[i] == '|' ) {
         fields.emplace_back();
      } else {
         if ( text[i] == '\\' && ( ++i == text.size() || ( text[i] != '|' && text[i] != '\\' ) ) ) {
            throw ValueError( "key " + quoted( text ) +
                              " has a backslash before neither | nor \\" );
         }
         fields.back() += text[i];
      }
   }
   if ( fields.size() != names.size() ) {
      throw ValueError( "key " + quoted( text ) + " needs " + std::to_string( names.size() ) +
                        " fields joined by |: " + joinedNames( names, "|" ) );
   }
   return fields;
}

}  // namespace Kel::Detail
