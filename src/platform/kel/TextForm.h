#pragma once

#include <charconv>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "platform/kel/ValueTypes.h"

/* The text of a value: what a key of a collection is written as. */

namespace Kel {

template < class T >
T fromText( std::string_view text );

namespace Detail {

/** Joins the fields of a record: a bar between them, bars and backslashes inside escaped. */
void appendKeyField( std::string & text, std::string_view field, bool first );
/** The reverse; throws ValueError unless the text is what joining the fields of these names gives.
 */
std::vector< std::string > splitKeyFields( std::string_view text,
                                           std::span< char const * const > names );

template < class Number >
Number numberFromText( std::string_view text ) {
   Number number{};
   auto [end, error] = std::from_chars( text.data(), text.data() + text.size(), number );
   bool whole = error == std::errc{} && end == text.data() + text.size() && !text.empty();
   if constexpr ( std::is_integral_v< Number > ) {
      // One number has one text, so that a key is never written in two ways.
      whole = whole && std::to_string( number ) == text;
   }
   if ( !whole ) {
      failText( std::is_integral_v< Number > ? wholeNumber< Number >() : "a number", text );
   }
   return number;
}

}  // namespace Detail

template < class T >
std::string textOf( T const & v ) {
   if constexpr ( std::is_same_v< T, bool > ) {
      return v ? "true" : "false";
   } else if constexpr ( std::is_enum_v< T > ) {
      return std::to_string( static_cast< std::underlying_type_t< T > >( v ) );
   } else if constexpr ( std::is_arithmetic_v< T > ) {
      return std::to_string( v );
   } else if constexpr ( CheckedNumber< T > ) {
      return std::to_string( v.value() );
   } else if constexpr ( TextType< T > ) {
      return v.stringValue();
   } else if constexpr ( SetType< T > || ArrayType< T > ) {
      std::string text;
      bool first = true;
      for ( auto const & element : v ) {
         Detail::appendKeyField( text, textOf( element ), std::exchange( first, false ) );
      }
      return text;
   } else if constexpr ( MapType< T > ) {
      std::string text;
      bool first = true;
      for ( auto const & [key, value] : v ) {
         Detail::appendKeyField( text, textOf( key ) + '=' + textOf( value ),
                                 std::exchange( first, false ) );
      }
      return text;
   } else {
      static_assert( RecordType< T >, "no text is known for this type" );
      std::string text;
      bool first = true;
      forEachField< T >( [&]( auto const & field ) {
         Detail::appendKeyField( text, textOf( v.*field.member ), std::exchange( first, false ) );
      } );
      return text;
   }
}

template < class T >
T fromText( std::string_view text ) {
   if constexpr ( std::is_same_v< T, bool > ) {
      if ( text != "true" && text != "false" ) {
         Detail::failText( "true or false", text );
      }
      return text == "true";
   } else if constexpr ( std::is_enum_v< T > ) {
      return static_cast< T >( Detail::numberFromText< std::underlying_type_t< T > >( text ) );
   } else if constexpr ( std::is_arithmetic_v< T > ) {
      return Detail::numberFromText< T >( text );
   } else if constexpr ( CheckedNumber< T > ) {
      return Detail::checked(
         [&] { return T( Detail::numberFromText< typename T::Number >( text ) ); } );
   } else if constexpr ( TextType< T > ) {
      std::optional< T > v = T::parse( text );
      // What can be any text has no form.
      if constexpr ( requires { T::form; } ) {
         if ( !v ) {
            Detail::failText( T::form, text );
         }
      }
      return *v;
   } else {
      static_assert( RecordType< T >, "no text is known for this type" );
      std::vector< std::string > parts = Detail::splitKeyFields( text, Detail::fieldNames< T >() );
      T record{};
      std::size_t next = 0;
      forEachField< T >( [&]( auto const & field ) {
         auto & member = record.*field.member;
         try {
            member = fromText< std::remove_cvref_t< decltype( member ) > >( parts[next++] );
         } catch ( ValueError const & e ) {
            throw ValueError( std::string( field.name ) + " " + e.what() );
         }
      } );
      return record;
   }
}

}  // namespace Kel
