#pragma once

#include <array>
#include <charconv>
#include <concepts>
#include <cstdint>
#include <limits>
#include <optional>
#include <ostream>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "platform/kel/Exceptions.h"
#include "platform/kel/ForEach.h"
#include "platform/kel/Hash.h"
#include "platform/kel/String.h"
#include "platform/kel/Value.h"

/*
 * What the generic code needs to know of a value type: its neutral form, its text and its hash.
 *
 * A type is one of: a plain number, boolean or enumeration; a checked number (`Number`, `value()`);
 * a text type (`stringValue()`, `parse()`, and `form`, what `parse` wants, unless any text will
 * do); a record, which lists its fields with KEL_RECORD; a set
 * (`ValueSet`), a map (`ValueMap`) or a `std::array`. A new value type therefore needs no code
 * here.
 */

namespace Kel {

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

template < class T >
std::string textOf( T const & v );
template < class T >
T fromText( std::string_view text );
template < class T >
Value toValue( T const & v );
template < class T >
void patchValue( T & target, Value const & patch );

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

/** Joins the fields of a record: a bar between them, bars and backslashes inside escaped. */
void appendKeyField( std::string & text, std::string_view field, bool first );
/** The reverse; throws ValueError unless the text is what joining the fields of these names gives.
 */
std::vector< std::string > splitKeyFields( std::string_view text,
                                           std::span< char const * const > names );

/** Each throws ValueError: "wants WANTED, not ...", with the kind of what was found, with what sort
 *  of number it is, and with the text itself. */
[[noreturn]] void failKind( std::string const & wanted, Value const & found );
[[noreturn]] void failNumber( std::string const & wanted, Value const & found );
[[noreturn]] void failText( std::string const & wanted, std::string_view found );
/** Throws ValueError for a field that a record doesn't have, with those that it has. */
[[noreturn]] void failField( std::span< char const * const > names );

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

template < class Number >
Number numberFromValue( Value const & v ) {
   auto check = [&v]( auto given ) {
      if ( !std::in_range< Number >( given ) ) {
         failNumber( wholeNumber< Number >(), v );
      }
      return static_cast< Number >( given );
   };
   if ( auto const * number = v.as< std::uint64_t >() ) {
      return check( *number );
   }
   if ( auto const * number = v.as< std::int64_t >() ) {
      return check( *number );
   }
   failNumber( wholeNumber< Number >(), v );
}

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

/** Runs a checked constructor; its range failure becomes an error of the document. */
template < class F >
auto checked( F && make ) {
   try {
      return make();
   } catch ( RangeException const & e ) {
      throw ValueError( e.what() );
   }
}

template < class Record >
std::optional< std::uint64_t > maskOf( Record const & record ) {
   if constexpr ( requires { record.kelMask(); } ) {
      return record.kelMask();
   } else {
      return std::nullopt;
   }
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

template < class T >
Value toValue( T const & v ) {
   if constexpr ( std::is_same_v< T, bool > ) {
      return v;
   } else if constexpr ( std::is_enum_v< T > ) {
      return toValue( static_cast< std::underlying_type_t< T > >( v ) );
   } else if constexpr ( std::is_floating_point_v< T > ) {
      return static_cast< double >( v );
   } else if constexpr ( std::is_signed_v< T > ) {
      return v < 0 ? Value( static_cast< std::int64_t >( v ) )
                   : Value( static_cast< std::uint64_t >( v ) );
   } else if constexpr ( std::is_unsigned_v< T > ) {
      return static_cast< std::uint64_t >( v );
   } else if constexpr ( CheckedNumber< T > ) {
      return toValue( v.value() );
   } else if constexpr ( TextType< T > ) {
      return v.stringValue();
   } else if constexpr ( SetType< T > || ArrayType< T > ) {
      Value::Array array;
      for ( auto const & element : v ) {
         array.push_back( toValue( element ) );
      }
      return array;
   } else if constexpr ( MapType< T > ) {
      Value::Object object;
      for ( auto const & [key, value] : v ) {
         object.emplace_back( textOf( key ), toValue( value ) );
      }
      return object;
   } else {
      static_assert( RecordType< T >, "no neutral form is known for this type" );
      Value::Object object;
      std::optional< std::uint64_t > mask = Detail::maskOf( v );
      forEachField< T >( [&]( auto const & field ) {
         using Member = std::remove_cvref_t< decltype( v.*field.member ) >;
         // Without its bit a field counts only by being filled in.
         bool shown = !mask || ( *mask & field.maskBit ) || v.*field.member != Member{};
         // The mask itself stands first.
         if ( shown || object.empty() ) {
            object.emplace_back( field.name, toValue( v.*field.member ) );
         }
      } );
      return object;
   }
}

/**
 * Applies a merge patch: what it names is set, null sets to the default, the rest stays.
 * Throws ValueError and leaves the target as it was when something does not fit.
 */
template < class T >
void patchValue( T & target, Value const & patch ) {
   if ( patch.isNull() ) {
      target = T{};
   } else if constexpr ( std::is_same_v< T, bool > ) {
      bool const * v = patch.as< bool >();
      if ( !v ) {
         Detail::failKind( "a boolean", patch );
      }
      target = *v;
   } else if constexpr ( std::is_enum_v< T > ) {
      target = static_cast< T >( Detail::numberFromValue< std::underlying_type_t< T > >( patch ) );
   } else if constexpr ( std::is_floating_point_v< T > ) {
      if ( auto const * real = patch.as< double >() ) {
         target = static_cast< T >( *real );
      } else if ( auto const * number = patch.as< std::uint64_t >() ) {
         target = static_cast< T >( *number );
      } else if ( auto const * negative = patch.as< std::int64_t >() ) {
         target = static_cast< T >( *negative );
      } else {
         Detail::failKind( "a number", patch );
      }
   } else if constexpr ( std::is_integral_v< T > ) {
      target = Detail::numberFromValue< T >( patch );
   } else if constexpr ( CheckedNumber< T > ) {
      auto number = Detail::numberFromValue< typename T::Number >( patch );
      target = Detail::checked( [&] { return T( number ); } );
   } else if constexpr ( TextType< T > ) {
      auto const * text = patch.as< std::string >();
      if ( !text ) {
         Detail::failKind( "a text", patch );
      }
      target = fromText< T >( *text );
   } else if constexpr ( SetType< T > ) {
      auto const * array = patch.as< Value::Array >();
      if ( !array ) {
         Detail::failKind( "an array", patch );
      }
      T set;
      for ( std::size_t i = 0; i != array->size(); ++i ) {
         typename T::KelElement element{};
         try {
            patchValue( element, ( *array )[i] );
         } catch ( ValueError const & e ) {
            throw e.below( std::to_string( i ) );
         }
         set.insert( element );
      }
      target = set;
   } else if constexpr ( ArrayType< T > ) {
      auto const * array = patch.as< Value::Array >();
      if ( !array || array->size() != target.size() ) {
         throw ValueError( "wants an array of " + std::to_string( target.size() ) );
      }
      T patched{};
      for ( std::size_t i = 0; i != patched.size(); ++i ) {
         try {
            patchValue( patched[i], ( *array )[i] );
         } catch ( ValueError const & e ) {
            throw e.below( std::to_string( i ) );
         }
      }
      target = patched;
   } else if constexpr ( MapType< T > ) {
      auto const * object = patch.as< Value::Object >();
      if ( !object ) {
         Detail::failKind( "an object", patch );
      }
      T patched = target;
      for ( auto const & member : *object ) {
         try {
            auto const key = fromText< typename T::KelKey >( member.first );
            if ( member.second.isNull() ) {
               patched.erase( key );
            } else {
               auto mapped = patched.get( key );
               patchValue( mapped, member.second );
               patched.set( key, mapped );
            }
         } catch ( ValueError const & e ) {
            throw e.below( member.first );
         }
      }
      target = patched;
   } else {
      static_assert( RecordType< T >, "no neutral form is known for this type" );
      auto const * object = patch.as< Value::Object >();
      if ( !object ) {
         Detail::failKind( "an object", patch );
      }
      T patched = target;
      for ( auto const & member : *object ) {
         std::string const & name = member.first;
         bool known = false;
         try {
            forEachField< T >( [&]( auto const & field ) {
               if ( name == field.name ) {
                  known = true;
                  patchValue( patched.*field.member, member.second );
               }
            } );
            if ( !known ) {
               Detail::failField( Detail::fieldNames< T >() );
            }
         } catch ( ValueError const & e ) {
            throw e.below( name );
         }
      }
      target = patched;
   }
}

/** A patch applied to the default. */
template < class T >
T fromValue( Value const & v ) {
   T target{};
   patchValue( target, v );
   return target;
}

}  // namespace Kel
