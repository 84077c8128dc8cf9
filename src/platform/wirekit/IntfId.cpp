#include "platform/wirekit/IntfId.h"

namespace Wirekit {

namespace {

// Letters and digits of ASCII, whatever the locale says.
bool isDigit( char c ) {
   return c >= '0' && c <= '9';
}
bool isLetter( char c ) {
   return ( c >= 'a' && c <= 'z' ) || ( c >= 'A' && c <= 'Z' );
}

std::string shortNameOf( std::string_view name ) {
   std::string letters;
   for ( std::size_t i = 0; i < name.size(); ++i ) {
      if ( isDigit( name[i] ) ) {
         return letters.append( name.substr( i ) );
      }
      if ( isLetter( name[i] ) && letters.size() < 2 ) {
         letters += name[i];
      }
   }
   return std::string( name );
}

NameTable & names() {
   // Never destroyed: objects that go down at the end of the process may still print a name.
   static NameTable & table = *new NameTable( shortNameOf );
   return table;
}

}  // namespace

IntfId::IntfId( std::string_view name ) : index_( names().intern( name ) ) {}

std::string_view IntfId::name() const {
   return names().name( index_ );
}

std::string_view IntfId::shortNameView() const {
   return names().abbreviation( index_ );
}

}  // namespace Wirekit
