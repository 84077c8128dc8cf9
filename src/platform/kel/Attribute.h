#pragma once

#include <type_traits>
#include <utility>

/*
 * How a class lists its attributes: each declaration macro takes the next number and declares a
 * static `kelAttribute( Index< number > )` that describes the attribute. The list ends with the
 * first number that has none, so nothing is registered and nothing is written twice. A class with
 * attributes of its own that is defined between two of them would take numbers out of the middle
 * and so cut the list; each declaration checks that its predecessor is there.
 */

namespace Kel {

/** The place of an attribute among those of its class, base classes first. */
using AttributeId = unsigned;
/** More attributes than an interest mask has bits are refused at compile time. */
inline constexpr AttributeId attributeLimit = 64;

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

/** An attribute of a notifier. Its type record is a class of its own, which is compiled only where
 *  it is asked for: with the type record of the notifier. */
template < class Owner, class Member >
struct NotifyingAttribute {
   char const * name;
   Member Owner::*member;
   auto record() const { return recordOf( name, member ); }
};
template < class Owner, class Member >
constexpr NotifyingAttribute< Owner, Member > notifying( char const * name,
                                                         Member Owner::*member ) {
   return { name, member };
}

/** Calls `f( attribute )` for each attribute of `T`, in declaration order. */
template < class T, class F >
void forEachAttribute( F && f ) {
   [&]< int... n >( std::integer_sequence< int, n... > ) {
      ( f( T::kelAttribute( Index< n >{} ) ), ... );
   }
   ( std::make_integer_sequence< int, attributeCount< T >() >{} );
}

/** Ends the list of a root class, which has no attributes of its own. */
struct NoAttribute {};

/** Whether a class has declared its attribute number `n` so far: what `kelDeclared` yields. */
struct Declared {
   static constexpr bool so = true;
};
struct NotDeclared {
   static constexpr bool so = false;
};

}  // namespace Kel

/** Opens the list of a root class. */
#define KEL_ATTRIBUTE_ROOT()                       \
   static void kelAttribute( ::Kel::NoAttribute ); \
   static ::Kel::NotDeclared kelDeclared( ... );   \
   static ::Kel::Declared kelDeclared( ::Kel::Index< -1 > );

/** Opens the list of a class; `Base` is the class whose list it continues. */
#define KEL_ATTRIBUTES( Type, Base ) \
 public:                             \
   using KelSelf = Type;             \
   using Base::kelAttribute;         \
   using Base::kelDeclared;          \
   static constexpr int kelFirst = __COUNTER__ + 1 - ::Kel::attributeCount< Base >();

/** The free function that makes one of a class, from its inputs or its name; a line beside the
 * class, in its namespace. */
#define KEL_FACTORY( factory, Type )                        \
   template < class... Inputs >                             \
   ::Kel::Ptr< Type > factory( Inputs const &... inputs ) { \
      return ::Kel::create< Type >( inputs... );            \
   }

/** The next number of the list, under the name `number`. */
#define KEL_NEXT_ATTRIBUTE( number )                                                     \
   static constexpr ::Kel::AttributeId number = __COUNTER__ - kelFirst;                  \
   static ::Kel::Declared kelDeclared( ::Kel::Index< number > );                         \
   static_assert(                                                                        \
      decltype( kelDeclared( ::Kel::Index< static_cast< int >( number ) - 1 >{} ) )::so, \
      "the list of attributes is cut: a class that has attributes of its own "           \
      "must not be defined between two of them" );
