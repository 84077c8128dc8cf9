#pragma once

#include <array>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <ostream>
#include <span>
#include <string>
#include <string_view>

#include "platform/kel/Exceptions.h"
#include "platform/kel/ForEach.h"
#include "platform/kel/Hash.h"
#include "platform/kel/Value.h"

/* The kinds of value types (ValueTraits.h), how a record lists its fields, and what all of them are
 * refused with. */

namespace Kel {

template < class T >
std::string textOf( T const & v );

/** One field of a record. With a mask bit, the field counts only while the record's mask has it. */
template < class Record, class T >
struct Field {
   char const * name;
   T Record::*member;
   std::uint64_t maskBit = 0;
};
template < class Record, class T >
constexpr Field< Record, T > field( char const * name, T Record::*member, std::uint64_t bit = 0 ) {
   return { name, member, bit };
}

/** Declares all fields of a record, in order, and its comparison: `kelFields( f )` calls `f` with
 * all of them. */
#define KEL_RECORD( Type, ... )    \
   KEL_FIELDS( Type, __VA_ARGS__ ) \
   friend bool operator==( Type const &, Type const & ) = default;
/** The same for a record that compares in its own way. */
#define KEL_FIELDS( Type, ... )                                                  \
   using KelRecord = Type;                                                       \
   template < class F >                                                          \
   static constexpr auto kelFields( F && f ) {                                   \
      return f( KEL_FOR_EACH( KEL_RECORD_FIELD, __VA_ARGS__ ) );                 \
   }                                                                             \
   friend std::ostream & operator<<( std::ostream & out, Type const & record ) { \
      return out << ::Kel::textOf( record );                                     \
   }
#define KEL_RECORD_FIELD( member ) ::Kel::field( #member, &KelRecord::member )
/** The key of a collection: a record with a hash over its fields. */
#define KEL_KEY_RECORD( Type, ... )      \
   KEL_RECORD( Type, __VA_ARGS__ )       \
   std::size_t hash() const {            \
      return ::Kel::hashRecord( *this ); \
   }

template < class T >
concept RecordType = requires {
   typename T::KelRecord;
};
template < class T >
concept TextType = requires( T const & v, std::string_view text ) {
   { v.stringValue() } -> std::convertible_to< std::string >;
   { T::parse( text ) } -> std::same_as< std::optional< T > >;
};
template < class T >
concept CheckedNumber = requires( T const & v ) {
   typename T::Number;
   { v.value() } -> std::convertible_to< typename T::Number >;
};
template < class T >
concept SetType = requires {
   typename T::KelElement;
};
template < class T >
concept MapType = requires {
   typename T::KelMapped;
};
template < class T >
inline constexpr bool isArray = false;
template < class T, std::size_t size >
inline constexpr bool isArray< std::array< T, size > > = true;
template < class T >
concept ArrayType = isArray< T >;

template < class Record, class F >
void forEachField( F && f ) {
   Record::kelFields( [&]( auto const &... fields ) { ( f( fields ), ... ); } );
}

template < class Record >
std::size_t hashRecord( Record const & record ) {
   std::size_t hash = 0;
   forEachField< Record >(
      [&]( auto const & field ) { hash = combineHash( hash, hashOf( record.*field.member ) ); } );
   return hash;
}

namespace Detail {

/** Each throws ValueError: "wants WANTED, not ...", with the kind of what was found, with what sort
 *  of number it is, and with the text itself. */
[[noreturn]] void failKind( std::string const & wanted, Value const & found );
[[noreturn]] void failNumber( std::string const & wanted, Value const & found );
[[noreturn]] void failText( std::string const & wanted, std::string_view found );
/** Throws ValueError for a field that a record doesn't have, with those that it has. */
[[noreturn]] void failField( std::span< char const * const > names );

/** The text between quotes, as far as a message shows it. */
std::string quoted( std::string_view text );
std::string joinedNames( std::span< char const * const > names, char const * between );

template < class Number >
std::string wholeNumber() {
   return "a whole number, " + std::to_string( std::numeric_limits< Number >::min() ) + " to " +
          std::to_string( std::numeric_limits< Number >::max() );
}

template < class Record >
constexpr auto fieldNames() {
   return Record::kelFields( []( auto const &... fields ) {
      return std::array< char const *, sizeof...( fields ) >{ fields.name... };
   } );
}

/** Runs a checked constructor; its range failure becomes an error of the document. */
template < class F >
auto checked( F && make ) {
   try {
      return make();
   } catch ( RangeException const & e ) {
      throw ValueError( e.what() );
   }
}

}  // namespace Detail

}  // namespace Kel
