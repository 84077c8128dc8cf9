#pragma once

#include <array>
#include <cstddef>
#include <cstring>
#include <string>
#include <tuple>
#include <type_traits>

#include "platform/kel/Exceptions.h"
#include "platform/kel/ValueTraits.h"
#include "platform/wirekit/EthAddr.h"
#include "platform/wirekit/IntfId.h"

/*
 * The fixed-length form of keys and rows in shared memory: their fields in order, without padding.
 * An interface stands there by its name, since its internal form belongs to one process.
 */

namespace Slab {

/** Longest interface name that a row holds, in bytes. */
inline constexpr std::size_t longestIntfName = 63;

template < class T >
constexpr std::size_t encodedSize() {
   if constexpr ( std::is_same_v< T, Wirekit::IntfId > ) {
      return longestIntfName + 1;
   } else if constexpr ( std::is_same_v< T, Wirekit::EthAddr > ) {
      return 6;
   } else if constexpr ( std::is_arithmetic_v< T > || std::is_enum_v< T > ) {
      return sizeof( T );
   } else if constexpr ( Kel::CheckedNumber< T > ) {
      return sizeof( typename T::Number );
   } else {
      static_assert( Kel::RecordType< T >, "no form in shared memory is known for this type" );
      return T::kelFields( []< class... F >( F const &... ) {
         return ( encodedSize< std::remove_cvref_t< decltype( T{}.*F{}.member ) > >() + ... );
      } );
   }
}

/** Writes a value and moves on behind it. Throws RangeException on an interface name too long. */
template < class T >
void encode( T const & value, std::byte *& at ) {
   if constexpr ( std::is_same_v< T, Wirekit::IntfId > ) {
      std::string_view name = value.name();
      if ( name.size() > longestIntfName ) {
         Kel::throwRangeException( "interface name longer than " +
                                   std::to_string( longestIntfName ) +
                                   " bytes: " + std::string( name ) );
      }
      std::memset( at, 0, encodedSize< T >() );
      std::memcpy( at, name.data(), name.size() );
      at += encodedSize< T >();
   } else if constexpr ( std::is_same_v< T, Wirekit::EthAddr > ) {
      auto const bytes = value.bytes();
      std::memcpy( at, bytes.data(), bytes.size() );
      at += bytes.size();
   } else if constexpr ( std::is_arithmetic_v< T > || std::is_enum_v< T > ) {
      std::memcpy( at, &value, sizeof( T ) );
      at += sizeof( T );
   } else if constexpr ( Kel::CheckedNumber< T > ) {
      encode( static_cast< typename T::Number >( value.value() ), at );
   } else {
      Kel::forEachField< T >( [&]( auto const & field ) { encode( value.*field.member, at ); } );
   }
}

/** Reads a value and moves on behind it. */
template < class T >
void decode( T & value, std::byte const *& at ) {
   if constexpr ( std::is_same_v< T, Wirekit::IntfId > ) {
      char const * text = reinterpret_cast< char const * >( at );
      value = Wirekit::IntfId( std::string_view( text, ::strnlen( text, longestIntfName ) ) );
      at += encodedSize< T >();
   } else if constexpr ( std::is_same_v< T, Wirekit::EthAddr > ) {
      std::array< std::uint8_t, 6 > bytes;
      std::memcpy( bytes.data(), at, bytes.size() );
      value = Wirekit::EthAddr( bytes );
      at += bytes.size();
   } else if constexpr ( std::is_arithmetic_v< T > || std::is_enum_v< T > ) {
      std::memcpy( &value, at, sizeof( T ) );
      at += sizeof( T );
   } else if constexpr ( Kel::CheckedNumber< T > ) {
      typename T::Number number;
      decode( number, at );
      value = T( number );
   } else {
      Kel::forEachField< T >( [&]( auto const & field ) { decode( value.*field.member, at ); } );
   }
}

/** The encoded form of one value. */
template < class T >
class Encoded : public std::array< std::byte, encodedSize< T >() > {
 public:
   Encoded() = default;
   explicit Encoded( T const & value ) {
      std::byte * at = this->data();
      encode( value, at );
   }
   T value() const {
      T decoded{};
      std::byte const * at = this->data();
      decode( decoded, at );
      return decoded;
   }
};

}  // namespace Slab
