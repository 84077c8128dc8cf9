#pragma once

#include <concepts>
#include <cstddef>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>

namespace Wirekit {

/**
 * A value that is written as text, and for which parse( stringValue() ) is the identity.
 *
 * parse takes the whole text or nothing: it yields nullopt for any text that is no such value.
 */
template < typename T >
concept TextValue = std::equality_comparable< T > &&
   requires( T const value, std::string_view text ) {
   { value.stringValue() } -> std::same_as< std::string >;
   { T::parse( text ) } -> std::same_as< std::optional< T > >;
   { value.hash() } -> std::same_as< std::size_t >;
   { value < value } -> std::convertible_to< bool >;
};

template < TextValue T >
std::ostream & operator<<( std::ostream & out, T const & value ) {
   return out << value.stringValue();
}

}  // namespace Wirekit
