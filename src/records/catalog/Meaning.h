#pragma once

#include <concepts>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/kel/Entity.h"
#include "platform/slab/Table.h"
#include "records/catalog/Forms.h"

/*
 * What the types of the catalog mean, for people. Each namespace of records has a file Meaning.cpp
 * with a line of words for each attribute, field and number; names, keys and forms of values come
 * from the declarations themselves.
 *
 *   bool const known = Catalog::meaningsAre( [] {
 *      return Catalog::Meanings{
 *         Catalog::meaningOf< Mlag::Status >( "the role of the switch in its pair",
 *                                             { { "mlagState", "its role" } } ) };
 *   } );
 */

namespace Catalog {

/** An attribute of an entity or a field of a record. */
struct Part {
   std::string name;
   Form key;
   Form value;
   std::string words;
};

struct NamedNumber {
   std::uint64_t number;
   char const * name;
   char const * words;
};

struct Meaning {
   std::string type;
   std::string words;
   std::vector< Part > parts = {};
   /** Of an enumeration. */
   std::vector< NamedNumber > numbers = {};
   /** The numbers are bits, of which a value may have several. */
   bool areBits = false;
   /** Names that were given words and are no part of the type. */
   std::vector< std::string > strays = {};
};
using Meanings = std::vector< Meaning >;

/** The words of a part, and the set of numbers or bits where its own type is a plain number. */
struct Words {
   char const * name;
   char const * words;
   char const * numbers = "";
};

/** Registers what a function yields; it is called when somebody first asks. */
bool meaningsAre( Meanings ( *make )() );
/** All, by the names of their types. */
Meanings const & meanings();
/** Null for a type without words. */
Meaning const * meaningNamed( std::string_view type );

/** Gives the parts their words. */
Meaning withWords( Meaning meaning, std::vector< Words > const & words );

template < class Member >
struct Held;
template < class T >
struct Held< Kel::Scalar< T > > {
   static Form key() { return {}; }
   static Form value() { return formOf< T >(); }
};
template < class T >
struct Held< Kel::Reference< T > > {
   static Form key() { return {}; }
   static Form value() { return entityForm( T::kelType().name ); }
};
template < class K, class V, class... Index >
struct Held< Kel::Map< K, V, Index... > > {
   static Form key() { return keyFormOf< K >(); }
   static Form value() { return formOf< V >(); }
};
template < class K, class V, auto keyField >
struct Held< Kel::KeyedValues< K, V, keyField > > : Held< Kel::Map< K, V > > {};
template < class K, class R, std::size_t capacity >
struct Held< Slab::Table< K, R, capacity > > : Held< Kel::Map< K, R > > {};
template < class K, class T, template < class, class > class Storage >
struct Held< Kel::Children< K, T, Storage > > {
   static Form key() { return keyFormOf< K >(); }
   static Form value() { return entityForm( T::kelType().name ); }
};

/** What an entity's or a record's type means. */
template < class T >
Meaning meaningOf( char const * words, std::vector< Words > const & partWords ) {
   Meaning meaning{ .type = nameOf< T >(), .words = words };
   if constexpr ( std::derived_from< T, Kel::Entity > ) {
      Kel::forEachAttribute< T >(
         [&]< class Owner, class Member >( Kel::NotifyingAttribute< Owner, Member > attribute ) {
            meaning.parts.push_back(
               { attribute.name, Held< Member >::key(), Held< Member >::value(), "" } );
         } );
   } else {
      Kel::forEachField< T >( [&]< class Field >( Field const & field ) {
         using Value = std::remove_cvref_t< decltype( std::declval< T & >().*field.member ) >;
         meaning.parts.push_back( { field.name, {}, formOf< Value >(), "" } );
      } );
   }
   return withWords( std::move( meaning ), partWords );
}

/** What the numbers of an enumeration mean, or the bits of a set under a name of their own. */
template < class Enum >
Meaning numbersOf( char const * words, std::vector< NamedNumber > numbers ) {
   return { .type = nameOf< Enum >(), .words = words, .numbers = std::move( numbers ) };
}
inline Meaning bitsOf( char const * type, char const * words, std::vector< NamedNumber > numbers ) {
   return { .type = type, .words = words, .numbers = std::move( numbers ), .areBits = true };
}

/** An enumerator with its name and words. */
template < class Enum >
NamedNumber number( Enum value, char const * name, char const * words ) {
   return { static_cast< std::uint64_t >( value ), name, words };
}

}  // namespace Catalog
