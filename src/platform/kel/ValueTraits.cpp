#include "platform/kel/ValueTraits.h"

#include <cmath>

#include "platform/kel/StandardError.h"

namespace Kel::Detail {

namespace {

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

}  // namespace

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
