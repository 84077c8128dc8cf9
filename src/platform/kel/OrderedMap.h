#pragma once

#include <map>
#include <optional>
#include <utility>

namespace Kel {

/**
 * A map in ascending order of its keys, with the operations of HashMap2018 that collections of
 * objects need, and its cursor guarantees: a cursor goes on to the next larger key that stands at
 * that moment.
 */
template < class K, class V >
class OrderedMap {
 public:
   using Key = K;
   using Value = V;
   struct Member {
      K key;
      V value;
   };

   class Cursor {
    public:
      explicit Cursor( OrderedMap const & map ) : map_( &map ) {
         if ( !map.members_.empty() ) {
            key_ = map.members_.begin()->first;
         }
      }
      explicit operator bool() const { return key_.has_value(); }
      Member const * member() const {
         auto found = key_ ? map_->members_.find( *key_ ) : map_->members_.end();
         return found == map_->members_.end() ? nullptr : &found->second;
      }
      Member const & current() const { return *member(); }
      void advance() {
         auto next = map_->members_.upper_bound( *key_ );
         key_ = next == map_->members_.end() ? std::nullopt : std::optional( next->first );
      }

    private:
      OrderedMap const * map_;
      std::optional< K > key_;
   };

   std::size_t size() const { return members_.size(); }
   V const * find( K const & key ) const {
      auto found = members_.find( key );
      return found == members_.end() ? nullptr : &found->second.value;
   }
   bool has( K const & key ) const { return find( key ) != nullptr; }

   /** Adds an entry whose key is known to be absent. */
   template < class U >
   void add( K const & key, U && value ) {
      members_.try_emplace( key, Member{ key, std::forward< U >( value ) } );
   }
   std::optional< V > take( K const & key ) {
      auto found = members_.find( key );
      if ( found == members_.end() ) {
         return std::nullopt;
      }
      std::optional< V > value( std::move( found->second.value ) );
      members_.erase( found );
      return value;
   }

 private:
   std::map< K, Member > members_;
};

}  // namespace Kel
