#pragma once

#include <limits>
#include <string>
#include <string_view>
#include <type_traits>

#include "platform/kel/ValueTraits.h"
#include "platform/wirekit/IntfId.h"

/* How the keys and values of documents look, in words, from their types. */

namespace Catalog {

struct Form {
   /** Empty where there is none: the key of a scalar. */
   std::string words;
   /** The entity's, record's or enumeration's type that has words of its own; empty for none. */
   std::string type = {};
};

/** The full name of a type. */
template < class T >
std::string nameOf() {
   std::string_view name = __PRETTY_FUNCTION__;
   name.remove_prefix( name.find( "T = " ) + 4 );
   return std::string( name.substr( 0, name.find_first_of( ";]" ) ) );
}

inline Form entityForm( char const * type ) {
   return { type, type };
}

/** How a value looks in a document. */
template < class T >
Form formOf() {
   if constexpr ( std::is_same_v< T, bool > ) {
      return { "true or false" };
   } else if constexpr ( std::is_enum_v< T > ) {
      return { "a number of " + nameOf< T >(), nameOf< T >() };
   } else if constexpr ( std::is_floating_point_v< T > ) {
      return { "a number" };
   } else if constexpr ( std::is_arithmetic_v< T > ) {
      return { Kel::Detail::wholeNumber< T >() };
   } else if constexpr ( Kel::CheckedNumber< T > ) {
      std::string words =
         "a whole number, " + std::to_string( T::min ) + " to " + std::to_string( T::max );
      if constexpr ( T::hasNone ) {
         words += " (" + std::to_string( T{}.value() ) + ": none)";
      }
      return { words };
   } else if constexpr ( std::is_same_v< T, Wirekit::IntfId > ) {
      return { "an interface such as Ethernet1" };
   } else if constexpr ( Kel::TextType< T > ) {
      if constexpr ( requires { T::form; } ) {
         return { T::form };
      } else {
         return { "a text" };
      }
   } else if constexpr ( Kel::SetType< T > ) {
      Form const element = formOf< typename T::KelElement >();
      return { "an array, each " + element.words, element.type };
   } else if constexpr ( Kel::ArrayType< T > ) {
      Form const element = formOf< typename T::value_type >();
      return { "an array of " + std::to_string( T{}.size() ) + ", each " + element.words,
               element.type };
   } else if constexpr ( Kel::MapType< T > ) {
      Form const value = formOf< typename T::KelMapped >();
      return { "an object, by " + formOf< typename T::KelKey >().words + ": " + value.words,
               value.type };
   } else {
      return { nameOf< T >(), nameOf< T >() };
   }
}

/** How a key looks: a record is its fields, with bars between them. */
template < class T >
Form keyFormOf() {
   if constexpr ( Kel::RecordType< T > ) {
      std::string fields;
      for ( char const * field : Kel::Detail::fieldNames< T >() ) {
         fields += ( fields.empty() ? "" : "|" ) + std::string( field );
      }
      return { fields, nameOf< T >() };
   } else {
      return formOf< T >();
   }
}

}  // namespace Catalog
