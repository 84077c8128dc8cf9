#include "platform/kel/ValueTypes.h"

#include <cmath>

#include "platform/kel/StandardError.h"

namespace Kel::Detail {

std::string quoted( std::string_view text ) {
   return '"' + shownName( text ) + '"';
}

std::string joinedNames( std::span< char const * const > names, char const * between ) {
   std::string all;
   for ( char const * name : names ) {
      all += ( all.empty() ? "" : between ) + std::string( name );
   }
   return all;
}

void failKind( std::string const & wanted, Value const & found ) {
   throw ValueError( "wants " + wanted + ", not " + found.kindName() );
}

void failNumber( std::string const & wanted, Value const & found ) {
   std::string what = found.kindName();
   if ( auto const * number = found.as< std::uint64_t >() ) {
      what = std::to_string( *number );
   } else if ( auto const * negative = found.as< std::int64_t >() ) {
      what = std::to_string( *negative );
   } else if ( auto const * real = found.as< double >() ) {
      constexpr double beyond = 18446744073709551616.0;
      what = std::abs( *real ) < beyond ? "a number with a point or an exponent"
                                        : "a number beyond 64 bits";
   }
   throw ValueError( "wants " + wanted + ", not " + what );
}

void failText( std::string const & wanted, std::string_view found ) {
   throw ValueError( "wants " + wanted + ", not " + quoted( found ) );
}

void failField( std::span< char const * const > names ) {
   throw ValueError( "unknown field; there are: " + joinedNames( names, ", " ) );
}

}  // namespace Kel::Detail
