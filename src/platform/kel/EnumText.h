#pragma once

#include <initializer_list>
#include <ostream>
#include <type_traits>
#include <utility>

namespace Kel {

/** Prints the name of an enumerator; a value that has none as its number. */
template < class E >
std::ostream & printEnum( std::ostream & out, E value,
                          std::initializer_list< std::pair< E, char const * > > names ) {
   for ( auto const & [named, name] : names ) {
      if ( named == value ) {
         return out << name;
      }
   }
   return out << +static_cast< std::underlying_type_t< E > >( value );
}

}  // namespace Kel
