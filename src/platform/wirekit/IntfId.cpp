#include "platform/wirekit/IntfId.h"

#include <array>

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

/** The number of a name. A switch has few interfaces, whose names are asked for over and over, and
 *  the table takes a lock. */
NameTable::Index numberOf( std::string_view name ) {
   struct Known {
      std::string_view name;
      NameTable::Index index = 0;
   };
   thread_local constinit std::array< Known, 64 > recent{};
   if ( name.size() < 2 ) {
      return names().intern( name );
   }
   // Names differ in their last digits.
   auto const at = [name]( std::size_t fromEnd ) {
      return static_cast< unsigned char >( name[name.size() - fromEnd] );
   };
   Known & known = recent[( at( 1 ) + at( 2 ) * 10U ) % recent.size()];
   if ( known.name != name ) {
      NameTable::Index const index = names().intern( name );
      known = { names().name( index ), index };
   }
   return known.index;
}

}  // namespace

IntfId::IntfId( std::string_view name ) : index_( numberOf( name ) ) {}

std::string_view IntfId::name() const {
   return names().name( index_ );
}

std::string_view IntfId::shortNameView() const {
   return names().abbreviation( index_ );
}

}  // namespace Wirekit
