#pragma once

#include <type_traits>
#include <utility>

#include "platform/kel/Notifier.h"

/*
 * How a class lists its attributes: each declaration macro takes the next number and declares a
 * static `kelAttribute( Index< number > )` that describes the attribute. The list ends with the
 * first number that has none, so nothing is registered and nothing is written twice.
 */

namespace Kel {

template < int n >
using Index = std::integral_constant< int, n >;

template < class T, int n >
concept HasAttribute = requires {
   T::kelAttribute( Index< n >{} );
};

template < class T, int n = 0 >
consteval int attributeCount() {
   if constexpr ( HasAttribute< T, n > ) {
      return attributeCount< T, n + 1 >();
   } else {
      return n;
   }
}

/** Calls `f( attribute )` for each attribute of `T`, in declaration order. */
template < class T, class F >
void forEachAttribute( F && f ) {
   [&]< int... n >( std::integer_sequence< int, n... > ) {
      ( f( T::kelAttribute( Index< n >{} ) ), ... );
   }
   ( std::make_integer_sequence< int, attributeCount< T >() >{} );
}

/** Opens the list of a class; `Base` is the class whose list it continues. */
#define KEL_ATTRIBUTES( Type, Base ) \
 public:                             \
   using KelSelf = Type;             \
   using Base::kelAttribute;         \
   static constexpr int kelFirst = __COUNTER__ + 1 - ::Kel::attributeCount< Base >();

/** Ends the list of a root class, which has no attributes of its own. */
struct NoAttribute {};

}  // namespace Kel
