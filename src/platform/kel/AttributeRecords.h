#pragma once

#include <memory>
#include <optional>
#include <string>
#include <type_traits>
#include <vector>

#include "platform/kel/Attribute.h"
#include "platform/kel/HashMap2018.h"
#include "platform/kel/TypeRecord.h"
#include "platform/kel/ValueTraits.h"
#include "platform/kel/Walk.h"

/* The type records of the attributes that Attributes.h declares. */

namespace Kel {

template < class T >
class Scalar;
template < class K, class V, class... Index >
class Map;
template < class K, class V, auto keyField >
class KeyedValues;
template < class K, class T, template < class, class > class Storage >
class Children;
template < class T >
class Reference;

template < class Owner, class T >
class ScalarRecord final : public AttributeRecord {
 public:
   ScalarRecord( char const * name, Scalar< T > Owner::*member )
      : AttributeRecord( name, AttributeKind::Scalar ), member_( member ) {}

   std::optional< Value > read( Notifier const & notifier, std::string_view ) const override {
      T const & value = ( static_cast< Owner const & >( notifier ).*member_ ).value();
      return value == T{} ? std::nullopt : std::optional( toValue( value ) );
   }
   void check( std::string_view, Value const & patch ) const override { fromValue< T >( patch ); }
   void write( Notifier & notifier, std::string_view, Value const & patch ) const override {
      auto & attribute = static_cast< Owner & >( notifier ).*member_;
      T value = attribute.value();
      patchValue( value, patch );
      attribute.set( notifier, id(), value );
   }
   void valueIs( Notifier & notifier, std::string_view, Value const & value ) const override {
      ( static_cast< Owner & >( notifier ).*member_ )
         .set( notifier, id(), fromValue< T >( value ) );
   }
   Value preview( Notifier const & notifier, std::string_view,
                  Value const & patch ) const override {
      T value = ( static_cast< Owner const & >( notifier ).*member_ ).value();
      patchValue( value, patch );
      return toValue( value );
   }

 private:
   Scalar< T > Owner::*member_;
};

/** What the records of maps and of collections of entities have in common. */
template < class Owner, class Member, class K >
class CollectionRecord : public AttributeRecord {
 public:
   CollectionRecord( char const * name, AttributeKind kind, Member Owner::*member )
      : AttributeRecord( name, kind ), member_( member ) {}

   std::string keyText( void const * key ) const override {
      return textOf( *static_cast< K const * >( key ) );
   }
   bool has( Notifier const & notifier, void const * key ) const override {
      return attribute( notifier ).members().has( *static_cast< K const * >( key ) );
   }
   void checkKey( std::string_view key ) const override { fromText< K >( key ); }
   std::string plainKey( std::string_view key ) const override {
      return textOf( fromText< K >( key ) );
   }
   std::vector< std::string > keys( Notifier const & notifier ) const override {
      using Members = std::remove_cvref_t< decltype( attribute( notifier ).members() ) >;
      std::vector< std::string > texts;
      for ( K const & key : KeyWalk< Members >( &notifier, attribute( notifier ).members() ) ) {
         texts.push_back( textOf( key ) );
      }
      return texts;
   }

 protected:
   Member const & attribute( Notifier const & notifier ) const {
      return static_cast< Owner const & >( notifier ).*member_;
   }
   Member & attribute( Notifier & notifier ) const {
      return static_cast< Owner & >( notifier ).*member_;
   }

 private:
   Member Owner::*member_;
};

/** `keyField` is a pointer to the field of the value that repeats the key, or null for none. A
 *  value that extends its key repeats it too. */
template < class Owner, class Member, class K, class V, auto keyField >
class MapRecord final : public CollectionRecord< Owner, Member, K > {
 public:
   MapRecord( char const * name, Member Owner::*member )
      : CollectionRecord< Owner, Member, K >( name, AttributeKind::Map, member ) {}

   bool holdsRecords() const override { return RecordType< V >; }
   std::optional< Value > read( Notifier const & notifier, std::string_view key ) const override {
      V const * value = this->attribute( notifier ).members().find( fromText< K >( key ) );
      return value ? std::optional( toValue( *value ) ) : std::nullopt;
   }
   void check( std::string_view key, Value const & patch ) const override {
      if ( !patch.isNull() ) {
         patched( fromText< K >( key ), V{}, patch );
      }
   }
   void write( Notifier & notifier, std::string_view text, Value const & patch ) const override {
      K const key = fromText< K >( text );
      auto & map = this->attribute( notifier );
      if ( patch.isNull() ) {
         map.del( notifier, this->id(), key );
      } else {
         map.set( notifier, this->id(), key, patched( key, map.get( key ), patch ) );
      }
   }
   void valueIs( Notifier & notifier, std::string_view text, Value const & value ) const override {
      K const key = fromText< K >( text );
      this->attribute( notifier ).set( notifier, this->id(), key, patched( key, V{}, value ) );
   }
   Value preview( Notifier const & notifier, std::string_view text,
                  Value const & patch ) const override {
      K const key = fromText< K >( text );
      return toValue( patched( key, this->attribute( notifier ).get( key ), patch ) );
   }

 private:
   static V patched( K const & key, V value, Value const & patch ) {
      patchValue( value, patch );
      if constexpr ( !std::is_null_pointer_v< decltype( keyField ) > ) {
         keyIs( value.*keyField, key );
      } else if constexpr ( std::is_base_of_v< K, V > && !std::is_same_v< K, V > ) {
         keyIs( static_cast< K & >( value ), key );
      }
      return value;
   }
   /** The key inside a value may be left out. */
   static void keyIs( K & inside, K const & key ) {
      if ( inside != K{} && inside != key ) {
         throw ValueError( "repeats another key than its own" );
      }
      inside = key;
   }
};

template < class Owner, class K, class T, template < class, class > class Storage >
class ChildrenRecord final : public CollectionRecord< Owner, Children< K, T, Storage >, K > {
 public:
   ChildrenRecord( char const * name, Children< K, T, Storage > Owner::*member )
      : CollectionRecord< Owner, Children< K, T, Storage >, K >( name, AttributeKind::Children,
                                                                 member ) {}

   TypeRecord const * elementType() const override { return &T::kelType(); }
   Ptr< Entity > child( Notifier const & notifier, std::string_view key ) const override {
      return this->attribute( notifier ).get( fromText< K >( key ) );
   }
   Ptr< Entity > childIs( Notifier & notifier, std::string_view key, TypeRecord const *,
                          std::function< void( Entity & ) > const & prepare ) const override {
      return this->attribute( notifier )
         .is( static_cast< Owner & >( notifier ), this->id(), fromText< K >( key ), prepare );
   }
   void childDel( Notifier & notifier, std::string_view key ) const override {
      this->attribute( notifier )
         .del( static_cast< Owner & >( notifier ), this->id(), fromText< K >( key ) );
   }
};

template < class Owner, class T >
class ReferenceRecord final : public AttributeRecord {
 public:
   ReferenceRecord( char const * name, Reference< T > Owner::*member )
      : AttributeRecord( name, AttributeKind::Reference ), member_( member ) {}

   bool has( Notifier const & notifier, void const * ) const override {
      return ( static_cast< Owner const & >( notifier ).*member_ ).get() != nullptr;
   }
   TypeRecord const * elementType() const override { return &T::kelType(); }
   Ptr< Entity > child( Notifier const & notifier, std::string_view ) const override {
      return ( static_cast< Owner const & >( notifier ).*member_ ).get();
   }
   Ptr< Entity > childIs( Notifier & notifier, std::string_view, TypeRecord const *,
                          std::function< void( Entity & ) > const & prepare ) const override {
      auto & owner = static_cast< Owner & >( notifier );
      if ( Ptr< T > standing = ( owner.*member_ ).get() ) {
         return standing;
      }
      Ptr< T > fresh( new T( Name( name() ) ) );
      prepare( *fresh );
      ( owner.*member_ ).set( owner, id(), fresh );
      return fresh;
   }
   void childDel( Notifier & notifier, std::string_view ) const override {
      auto & owner = static_cast< Owner & >( notifier );
      ( owner.*member_ ).set( owner, id(), nullptr );
   }

 private:
   Reference< T > Owner::*member_;
};

template < class Owner, class T >
auto recordOf( char const * name, Scalar< T > Owner::*member ) {
   return ScalarRecord< Owner, T >( name, member );
}
template < class Owner, class K, class V, class... Index >
auto recordOf( char const * name, Map< K, V, Index... > Owner::*member ) {
   return MapRecord< Owner, Map< K, V, Index... >, K, V, nullptr >( name, member );
}
template < class Owner, class K, class V, auto keyField >
auto recordOf( char const * name, KeyedValues< K, V, keyField > Owner::*member ) {
   return MapRecord< Owner, KeyedValues< K, V, keyField >, K, V, keyField >( name, member );
}
template < class Owner, class K, class T, template < class, class > class Storage >
auto recordOf( char const * name, Children< K, T, Storage > Owner::*member ) {
   return ChildrenRecord< Owner, K, T, Storage >( name, member );
}
template < class Owner, class T >
auto recordOf( char const * name, Reference< T > Owner::*member ) {
   return ReferenceRecord< Owner, T >( name, member );
}

template < class T >
AttributeRecords const & attributeRecords() {
   static AttributeRecords const records = [] {
      AttributeRecords list;
      forEachAttribute< T >( [&]< class Attribute >( Attribute const & attribute ) {
         if constexpr ( std::is_base_of_v< AttributeRecord, Attribute > ) {
            list.push_back( std::make_unique< Attribute >( attribute ) );
         } else {
            list.push_back(
               std::make_unique< decltype( attribute.record() ) >( attribute.record() ) );
         }
         list.back()->idIs( static_cast< AttributeId >( list.size() - 1 ) );
      } );
      return list;
   }();
   return records;
}

template < class T >
Ptr< Entity > createNamed( Name const & name ) {
   if constexpr ( std::is_convertible_v< T *, Entity * > && std::is_constructible_v< T, Name > ) {
      return Ptr< Entity >( new T( name ) );
   } else {
      return createNothing( name );
   }
}

}  // namespace Kel
