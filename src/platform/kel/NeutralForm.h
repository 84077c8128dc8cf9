#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>

#include "platform/kel/TextForm.h"
#include "platform/kel/Value.h"
#include "platform/kel/ValueTypes.h"

/* The neutral form of a value (Value.h), and merge patches in that form. */

namespace Kel {

template < class T >
Value toValue( T const & v );
template < class T >
void patchValue( T & target, Value const & patch );

namespace Detail {

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
      object.reserve( Detail::fieldNames< T >().size() );
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
               // Most names differ in their first letter.
               if ( !known && name[0] == field.name[0] && name == field.name ) {
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
