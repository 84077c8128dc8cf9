#pragma once

#include <iterator>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>

#include "platform/kel/Entity.h"
#include "platform/slab/RowCodec.h"
#include "platform/slab/SharedTable.h"

namespace Slab {

/** An entity that is a table in shared memory. */
class TableEntity : public Kel::NamedEntity {
 public:
   using NamedEntity::kelAttribute;
   using NamedEntity::NamedEntity;

   /** A read found a damaged row and took it as absent. Each damage is told once. */
   void doCorruptionDetected( std::string const & message ) const;
   /** After a write the same damage is told again. */
   void corruptionsDel() { corruptions_.clear(); }

   /** Rows that the table can hold. A change moves the rows to a new table. Throws RangeException,
    *  with nothing changed, when they don't fit. */
   virtual void capacityIs( std::size_t rows ) = 0;
   /** New rows that there is room for. */
   virtual std::size_t room() const = 0;

 private:
   /** What has been told since the last write. */
   mutable std::set< std::string > corruptions_;
};

/** The rows of one table, as an attribute of its entity. */
template < class K, class R, std::size_t defaultCapacity >
class Table {
 public:
   struct Member {
      K key;
      R value;
   };

   /** The walk over the rows, in order of insertion; damaged ones are told and left out. */
   class Walk {
    public:
      Walk( Kel::Ptr< TableEntity const > owner, SharedTable const & table )
         : owner_( std::move( owner ) ), table_( &table ) {}

      class Iterator {
       public:
         Iterator( Walk const & walk ) : walk_( &walk ), cursor_( walk.table_->begin() ) {
            ++*this;
         }
         Member const & operator*() const { return *member_; }
         Iterator & operator++() {
            member_.reset();
            Encoded< K > key;
            Encoded< R > row;
            for ( bool again = true; again; ) {
               again = false;
               try {
                  if ( cursor_.next( key, row ) ) {
                     member_.emplace( Member{ key.value(), row.value() } );
                  }
               } catch ( Corruption const & damage ) {
                  walk_->owner_->doCorruptionDetected( damage.what() );
                  again = true;
               }
            }
            return *this;
         }
         friend bool operator==( Iterator const & it, std::default_sentinel_t ) {
            return !it.member_;
         }

       private:
         Walk const * walk_;
         SharedTable::Cursor cursor_;
         std::optional< Member > member_;
      };
      Iterator begin() const { return Iterator( *this ); }
      std::default_sentinel_t end() const { return {}; }

    private:
      Kel::Ptr< TableEntity const > owner_;
      SharedTable const * table_;
   };

   /** Nothing when absent; throws Corruption on a damaged row. */
   std::optional< R > lookup( K const & key ) const {
      Encoded< K > const wanted( key );
      Encoded< R > row;
      if ( !shared_ || !shared_->lookup( wanted, row ) ) {
         return std::nullopt;
      }
      return row.value();
   }
   /** Nothing when absent or damaged; damage is told to the owner. */
   std::optional< R > safeLookup( TableEntity const & owner, K const & key ) const {
      try {
         return lookup( key );
      } catch ( Corruption const & damage ) {
         owner.doCorruptionDetected( damage.what() );
         return std::nullopt;
      }
   }
   Walk walk( TableEntity const & owner ) const { return { &owner, shared( owner ) }; }
   std::size_t size() const { return shared_ ? shared_->size() : 0; }

   /** Throws RangeException when the key is new and the table full. */
   void set( TableEntity & owner, Kel::AttributeId id, K const & given, R const & row ) {
      K const key = given;
      if ( safeLookup( owner, key ) == row ) {
         return;
      }
      shared( owner ).put( Encoded< K >( key ), Encoded< R >( row ) );
      owner.corruptionsDel();
      owner.notify( id, &key );
   }
   void del( TableEntity & owner, Kel::AttributeId id, K const & given ) {
      K const key = given;
      if ( shared_ && shared_->erase( Encoded< K >( key ) ) ) {
         owner.notify( id, &key );
      }
   }
   bool corrupt( K const & key ) {
      return shared_ && shared_->corruptChecksum( Encoded< K >( key ) );
   }

   void capacityIs( TableEntity & owner, std::size_t rows ) {
      if ( rows == capacity_ ) {
         return;
      }
      if ( shared_ ) {
         auto fresh = make( owner, rows );
         for ( Member const & member : Walk( &owner, *shared_ ) ) {
            fresh->put( Encoded< K >( member.key ), Encoded< R >( member.value ) );
         }
         shared_ = std::move( fresh );
      }
      capacity_ = rows;
   }
   std::size_t room() const { return capacity_ - size(); }

 private:
   static std::unique_ptr< SharedTable > make( TableEntity const & owner, std::size_t capacity ) {
      return std::unique_ptr< SharedTable >( new SharedTable(
         SharedTable::create( processSegmentName( owner.keyName() ), encodedSize< K >(),
                              encodedSize< R >(), capacity ) ) );
   }
   SharedTable & shared( TableEntity const & owner ) const {
      if ( !shared_ ) {
         shared_ = make( owner, capacity_ );
      }
      return *shared_;
   }

   // Made when first written or walked, under the name of the entity.
   mutable std::unique_ptr< SharedTable > shared_;
   std::size_t capacity_ = defaultCapacity;
};

/** The type record of a table: to documents it is a map like another. */
template < class Owner, class K, class R, std::size_t capacity >
class TableRecord final : public Kel::AttributeRecord {
 public:
   using Member = Table< K, R, capacity >;

   TableRecord( char const * name, Member Owner::*member )
      : AttributeRecord( name, Kel::AttributeKind::Map ), member_( member ) {}

   std::string keyText( void const * key ) const override {
      return Kel::textOf( *static_cast< K const * >( key ) );
   }
   bool has( Kel::Notifier const & notifier, void const * key ) const override {
      auto const & owner = static_cast< Owner const & >( notifier );
      return ( owner.*member_ ).safeLookup( owner, *static_cast< K const * >( key ) ).has_value();
   }
   void checkKey( std::string_view key ) const override { Kel::fromText< K >( key ); }
   std::string plainKey( std::string_view key ) const override {
      return Kel::textOf( Kel::fromText< K >( key ) );
   }
   std::vector< std::string > keys( Kel::Notifier const & notifier ) const override {
      std::vector< std::string > texts;
      auto const & owner = static_cast< Owner const & >( notifier );
      for ( auto const & member : ( owner.*member_ ).walk( owner ) ) {
         texts.push_back( Kel::textOf( member.key ) );
      }
      return texts;
   }
   bool holdsRecords() const override { return true; }
   std::optional< Kel::Value > read( Kel::Notifier const & notifier,
                                     std::string_view key ) const override {
      auto const & owner = static_cast< Owner const & >( notifier );
      auto row = ( owner.*member_ ).safeLookup( owner, Kel::fromText< K >( key ) );
      return row ? std::optional( Kel::toValue( *row ) ) : std::nullopt;
   }
   void check( std::string_view text, Kel::Value const & patch ) const override {
      K const key = Kel::fromText< K >( text );
      R const row = patch.isNull() ? R{} : Kel::fromValue< R >( patch );
      if constexpr ( requires { row.key == key; } ) {
         if ( row.key != K{} && row.key != key ) {
            throw Kel::ValueError( "repeats another key than its own" );
         }
      }
      Kel::Detail::checked( [&] {
         Encoded< K >{ key };
         Encoded< R >{ row };
         return true;
      } );
   }
   void write( Kel::Notifier & notifier, std::string_view text,
               Kel::Value const & patch ) const override {
      auto & owner = static_cast< Owner & >( notifier );
      K const key = Kel::fromText< K >( text );
      if ( patch.isNull() ) {
         ( owner.*member_ ).del( owner, id(), key );
      } else {
         ( owner.*member_ ).set( owner, id(), key, patched( owner, key, patch ) );
      }
   }
   void valueIs( Kel::Notifier & notifier, std::string_view text,
                 Kel::Value const & value ) const override {
      auto & owner = static_cast< Owner & >( notifier );
      K const key = Kel::fromText< K >( text );
      ( owner.*member_ ).set( owner, id(), key, patched( key, R{}, value ) );
   }
   Kel::Value preview( Kel::Notifier const & notifier, std::string_view text,
                       Kel::Value const & patch ) const override {
      return Kel::toValue(
         patched( static_cast< Owner const & >( notifier ), Kel::fromText< K >( text ), patch ) );
   }
   bool corrupt( Kel::Notifier & notifier, std::string_view key ) const override {
      return ( static_cast< Owner & >( notifier ).*member_ ).corrupt( Kel::fromText< K >( key ) );
   }

 private:
   R patched( Owner const & owner, K const & key, Kel::Value const & patch ) const {
      return patched( key, ( owner.*member_ ).safeLookup( owner, key ).value_or( R{} ), patch );
   }
   static R patched( K const & key, R row, Kel::Value const & patch ) {
      Kel::patchValue( row, patch );
      if constexpr ( requires { row.key = key; } ) {
         row.key = key;
      }
      return row;
   }

   Member Owner::*member_;
};

template < class Owner, class K, class R, std::size_t capacity >
auto recordOf( char const * name, Table< K, R, capacity > Owner::*member ) {
   return TableRecord< Owner, K, R, capacity >( name, member );
}

}  // namespace Slab

/** The rows of a shared-memory table: `x( key )` is the checked read (the empty row when absent or
 *  damaged), `xHas( key )`, `xIs( key, row )`, `xDel( key )`, and the checked walk `x()`. */
#define KEL_SLAB_TABLE( K, R, attribute, capacity )                  \
   R attribute( K const & key ) const {                              \
      return attribute##_.safeLookup( *this, key ).value_or( R{} );  \
   }                                                                 \
   bool attribute##Has( K const & key ) const {                      \
      return attribute##_.safeLookup( *this, key ).has_value();      \
   }                                                                 \
   std::size_t attribute##Count() const {                            \
      return attribute##_.size();                                    \
   }                                                                 \
   void attribute##Is( K const & key, R const & row ) {              \
      attribute##_.set( *this, attribute##Id, key, row );            \
   }                                                                 \
   void attribute##Del( K const & key ) {                            \
      attribute##_.del( *this, attribute##Id, key );                 \
   }                                                                 \
   auto attribute() const {                                          \
      return attribute##_.walk( *this );                             \
   }                                                                 \
   void capacityIs( std::size_t rows ) override {                    \
      attribute##_.capacityIs( *this, rows );                        \
   }                                                                 \
   std::size_t room() const override {                               \
      return attribute##_.room();                                    \
   }                                                                 \
   KEL_NEXT_ATTRIBUTE( attribute##Id )                               \
   using Kel_##attribute = ::Kel::AttributeTag< attribute##Id, K >;  \
   static auto kelAttribute( ::Kel::Index< attribute##Id > ) {       \
      return ::Kel::notifying( #attribute, &KelSelf::attribute##_ ); \
   }                                                                 \
                                                                     \
 private:                                                            \
   ::Slab::Table< K, R, capacity > attribute##_;                     \
                                                                     \
 public:
