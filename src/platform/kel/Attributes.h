#pragma once

#include <optional>
#include <tuple>
#include <type_traits>
#include <utility>

#include "platform/kel/Attribute.h"
#include "platform/kel/AttributeRecords.h"
#include "platform/kel/HashMap2018.h"
#include "platform/kel/MapIndex.h"
#include "platform/kel/Notifier.h"
#include "platform/kel/OrderedMap.h"
#include "platform/kel/Triggers.h"
#include "platform/kel/Walk.h"

/*
 * The attributes of notifiers: what they hold and how their mutators work.
 *
 * A mutator makes its change, then notifies. It keeps no reference into storage while handlers
 * run, so that they may do anything to the attribute, its entry and its owner.
 */

namespace Kel {

/** A value; a write of an equal value notifies nobody. */
template < class T >
class Scalar {
 public:
   T const & value() const { return value_; }
   bool set( Notifier & owner, AttributeId id, T const & value ) {
      if ( value_ == value ) {
         return false;
      }
      value_ = value;
      owner.notify( id );
      return true;
   }

 private:
   T value_{};
};

/** Values by key, in order of insertion, and what `Index`es tell of them (MapIndex.h). */
template < class K, class V, class... Index >
class Map {
 public:
   using Members = HashMap2018< K, V >;

   Members const & members() const { return members_; }
   V get( K const & key ) const {
      V const * found = members_.find( key );
      return found ? *found : V{};
   }
   bool set( Notifier & owner, AttributeId id, K const & given, V const & value ) {
      K const key = given;
      if constexpr ( sizeof...( Index ) != 0 ) {
         V const * const old = members_.find( key );
         std::apply( [&]( auto &... index ) { ( regroup( index, key, old, value ), ... ); },
                     indexes_ );
      }
      if ( !members_.set( key, value ) ) {
         return false;
      }
      owner.notify( id, &key );
      return true;
   }
   bool del( Notifier & owner, AttributeId id, K const & given ) {
      K const key = given;
      if constexpr ( sizeof...( Index ) == 0 ) {
         if ( !members_.erase( key ) ) {
            return false;
         }
      } else {
         std::optional< V > const old = members_.take( key );
         if ( !old ) {
            return false;
         }
         std::apply( [&]( auto &... index ) { ( index.leave( key, *old ), ... ); }, indexes_ );
      }
      owner.notify( id, &key );
      return true;
   }
   void delAll( Notifier & owner, AttributeId id ) {
      if constexpr ( sizeof...( Index ) == 0 ) {
         if ( !owner.isWatched() ) {
            members_.clear();
            return;
         }
      }
      Ptr< Notifier > const hold( &owner );
      for ( K const & key : keysOf( members_ ) ) {
         del( owner, id, key );
      }
   }
   template < class GroupOf >
   auto const & indexBy() const {
      return std::get< indexOf< GroupOf >() >( indexes_ );
   }

 private:
   /** A member that stays in its group keeps its place there. */
   template < class One >
   static void regroup( One & index, K const & key, V const * old, V const & value ) {
      typename One::Grouping const groupOf;
      if ( old && groupOf( key, *old ) == groupOf( key, value ) ) {
         return;
      }
      if ( old ) {
         index.leave( key, *old );
      }
      index.enter( key, value );
   }
   template < class GroupOf >
   static constexpr std::size_t indexOf() {
      bool const here[] = { std::is_same_v< GroupOf, typename Index::Grouping >... };
      std::size_t at = 0;
      while ( !here[at] ) {
         ++at;
      }
      return at;
   }

   Members members_;
   [[no_unique_address]] std::tuple< Index... > indexes_;
};

/** Entities by key. `Storage` is HashMap2018, or OrderedMap for a walk in order of the keys. */
template < class K, class T, template < class, class > class Storage >
class Children {
 public:
   using Members = Storage< K, Ptr< T > >;

   Members const & members() const { return members_; }
   Ptr< T > get( K const & key ) const {
      Ptr< T > const * found = members_.find( key );
      return found ? *found : nullptr;
   }
   /** The entity that stands, or a new one; `prepare` sees a new one before it is announced. */
   template < class Owner, class Prepare >
   Ptr< T > is( Owner & owner, AttributeId id, K const & given, Prepare && prepare ) {
      if ( Ptr< T > const * standing = members_.find( given ) ) {
         return *standing;
      }
      K const key = given;
      Ptr< T > fresh( new T( key ) );
      prepare( *fresh );
      fresh->parentIs( &owner, id );
      members_.add( key, fresh );
      owner.notify( id, &key );
      return fresh;
   }
   template < class Owner >
   bool del( Owner & owner, AttributeId id, K const & given ) {
      K const key = given;
      Ptr< T > old = members_.take( key ).value_or( nullptr );
      if ( !old ) {
         return false;
      }
      old->parentIs( nullptr, 0 );
      owner.notify( id, &key );
      return true;
   }
   template < class Owner >
   void delAll( Owner & owner, AttributeId id ) {
      Ptr< Notifier > const hold( &owner );
      for ( K const & key : keysOf( members_ ) ) {
         del( owner, id, key );
      }
   }
   ~Children() {
      for ( typename Members::Cursor cursor( members_ ); cursor; cursor.advance() ) {
         cursor.member()->value->parentIs( nullptr, 0 );
      }
   }

 private:
   Members members_;
};

/** One entity or none. */
template < class T >
class Reference {
 public:
   Ptr< T > const & get() const { return entity_; }
   template < class Owner >
   void set( Owner & owner, AttributeId id, Ptr< T > const & entity ) {
      if ( entity == entity_ ) {
         return;
      }
      Ptr< T > old = std::exchange( entity_, entity );
      if ( old ) {
         old->parentIs( nullptr, 0 );
      }
      if ( entity_ ) {
         entity_->parentIs( &owner, id );
      }
      owner.notify( id );
   }
   ~Reference() {
      if ( entity_ ) {
         entity_->parentIs( nullptr, 0 );
      }
   }

 private:
   Ptr< T > entity_;
};

/** Values that carry their own key in a field. */
template < class K, class V, auto keyField >
class KeyedValues : public Map< K, V > {
 public:
   bool setValue( Notifier & owner, AttributeId id, V const & value ) {
      return this->set( owner, id, value.*keyField, value );
   }
};

}  // namespace Kel

/** What every attribute of a notifier declares: number, tag, record and storage. */
#define KEL_NOTIFYING( attribute, Key, ... )                          \
   KEL_NEXT_ATTRIBUTE( attribute##Id )                                \
   static_assert( attribute##Id < ::Kel::attributeLimit );            \
   using Kel_##attribute = ::Kel::AttributeTag< attribute##Id, Key >; \
   static auto kelAttribute( ::Kel::Index< attribute##Id > ) {        \
      return ::Kel::notifying( #attribute, &KelSelf::attribute##_ );  \
   }                                                                  \
                                                                      \
 private:                                                             \
   __VA_ARGS__ attribute##_;                                          \
                                                                      \
 public:

/** A value: `x()`, `xIs( value )`. */
#define KEL_SCALAR( Type, attribute )                  \
   Type attribute() const {                            \
      return attribute##_.value();                     \
   }                                                   \
   void attribute##Is( Type const & value ) {          \
      attribute##_.set( *this, attribute##Id, value ); \
   }                                                   \
   KEL_NOTIFYING( attribute, void, ::Kel::Scalar< Type > )

/** What maps and collections of entities have in common. */
#define KEL_COLLECTION( K, attribute )                                           \
   bool attribute##Has( K const & key ) const {                                  \
      return attribute##_.members().has( key );                                  \
   }                                                                             \
   std::size_t attribute##Count() const {                                        \
      return attribute##_.members().size();                                      \
   }                                                                             \
   bool attribute##Del( K const & key ) {                                        \
      return attribute##_.del( *this, attribute##Id, key );                      \
   }                                                                             \
   void attribute##DelAll() {                                                    \
      attribute##_.delAll( *this, attribute##Id );                               \
   }                                                                             \
   auto attribute##Keys() const {                                                \
      using Members = std::remove_cvref_t< decltype( attribute##_.members() ) >; \
      return ::Kel::KeyWalk< Members >( this, attribute##_.members() );          \
   }                                                                             \
   auto attribute() const {                                                      \
      using Members = std::remove_cvref_t< decltype( attribute##_.members() ) >; \
      return ::Kel::MemberWalk< Members >( this, attribute##_.members() );       \
   }

/** Values by key: `x( key )` (the default when absent), `xHas( key )`, `xIs( key, value )`,
 *  `xDel( key )`, `xDelAll()`, and the walks `x()` over members and `xKeys()`. */
#define KEL_MAP( K, V, attribute ) KEL_MAP_OF( K, V, attribute, ::Kel::Map< K, V > )
#define KEL_MAP_OF( K, V, attribute, ... )                  \
   V attribute( K const & key ) const {                     \
      return attribute##_.get( key );                       \
   }                                                        \
   void attribute##Is( K const & key, V const & value ) {   \
      attribute##_.set( *this, attribute##Id, key, value ); \
   }                                                        \
   KEL_COLLECTION( K, attribute )                           \
   KEL_NOTIFYING( attribute, K, __VA_ARGS__ )

/** The same with indexes: `xCount< GroupOf >( group )`, and with one of keys the walk
 *  `xKeys< GroupOf >( group )`. */
#define KEL_INDEXED_MAP( K, V, attribute, ... )                         \
   template < class GroupOf >                                           \
   std::size_t attribute##Count( auto const & group ) const {           \
      return attribute##_.template indexBy< GroupOf >().count( group ); \
   }                                                                    \
   template < class GroupOf >                                           \
   auto attribute##Keys( auto const & group ) const {                   \
      return attribute##_.template indexBy< GroupOf >().keys( group );  \
   }                                                                    \
   KEL_MAP_OF( K, V, attribute, ::Kel::Map< K, V, __VA_ARGS__ > )

/** The same for values that carry their key in `keyField`: `xIs( value )`. */
#define KEL_VALUES( K, V, attribute, keyField )             \
   V attribute( K const & key ) const {                     \
      return attribute##_.get( key );                       \
   }                                                        \
   void attribute##Is( V const & value ) {                  \
      attribute##_.setValue( *this, attribute##Id, value ); \
   }                                                        \
   KEL_COLLECTION( K, attribute )                           \
   KEL_NOTIFYING( attribute, K, ::Kel::KeyedValues< K, V, &V::keyField > )

/** Entities by key: `x( key )` (null when absent), `xIs( key )` (the one that stands, or a new
 *  one), `xDel( key )`, `xDelAll()` and the walks. */
#define KEL_CHILDREN( K, Type, attribute ) KEL_CHILDREN_AS( K, Type, attribute, ::Kel::HashMap2018 )
/** The same, walked in ascending order of the keys. */
#define KEL_ORDERED_CHILDREN( K, Type, attribute ) \
   KEL_CHILDREN_AS( K, Type, attribute, ::Kel::OrderedMap )

#define KEL_CHILDREN_AS( K, Type, attribute, Storage )                      \
   ::Kel::Ptr< Type > attribute( K const & key ) const {                    \
      return attribute##_.get( key );                                       \
   }                                                                        \
   ::Kel::Ptr< Type > attribute##Is( K const & key ) {                      \
      return attribute##_.is( *this, attribute##Id, key, []( Type & ) {} ); \
   }                                                                        \
   KEL_COLLECTION( K, attribute )                                           \
   KEL_NOTIFYING( attribute, K, ::Kel::Children< K, Type, Storage > )

/** One entity or none: `x()`, `xIs( entity )`, `xIs( name )` (the one that stands, or a new one),
 *  `xDel()`. */
#define KEL_REFERENCE( Type, attribute )                          \
   ::Kel::Ptr< Type > attribute() const {                         \
      return attribute##_.get();                                  \
   }                                                              \
   void attribute##Is( ::Kel::Ptr< Type > const & entity ) {      \
      attribute##_.set( *this, attribute##Id, entity );           \
   }                                                              \
   ::Kel::Ptr< Type > attribute##Is( ::Kel::Name const & name ) { \
      ::Kel::Ptr< Type > entity = attribute();                    \
      if ( !entity ) {                                            \
         entity = new Type( name );                               \
         attribute##Is( entity );                                 \
      }                                                           \
      return entity;                                              \
   }                                                              \
   void attribute##Del() {                                        \
      attribute##Is( ::Kel::Ptr< Type >() );                      \
   }                                                              \
   KEL_NOTIFYING( attribute, void, ::Kel::Reference< Type > )

/** The class's type record, from its attributes. */
#define KEL_TYPE_RECORD( Type )                                                        \
   static ::Kel::TypeRecord const & kelType() {                                        \
      static ::Kel::TypeRecord const type{ #Type, &::Kel::attributeRecords< KelSelf >, \
                                           &::Kel::createNamed< KelSelf > };           \
      return type;                                                                     \
   }                                                                                   \
   ::Kel::TypeRecord const & fwkType() const override {                                \
      return kelType();                                                                \
   }
/** Opens a class that derives from Notifier and has no place in a tree of entities. */
#define KEL_NOTIFIER( Type )               \
   KEL_ATTRIBUTES( Type, ::Kel::Notifier ) \
   KEL_TYPE_RECORD( Type )
