#pragma once

#include <algorithm>
#include <utility>
#include <vector>

#include "platform/kel/Ptr.h"

namespace Kel {

/**
 * A map in order of its keys inside a value record. Copies share their members until one of them
 * changes; an empty one costs a pointer.
 */
template < class K, class V >
class ValueMap {
 public:
   using KelKey = K;
   using KelMapped = V;
   using Member = std::pair< K, V >;

   /** The default when absent. */
   V get( K const & key ) const {
      Member const * at = place( begin(), end(), key );
      return at != end() && at->first == key ? at->second : V{};
   }
   void set( K const & key, V const & value ) {
      std::vector< Member > members( begin(), end() );
      auto at = place( members.begin(), members.end(), key );
      if ( at != members.end() && at->first == key ) {
         at->second = value;
      } else {
         members.emplace( at, key, value );
      }
      members_ = new Members( std::move( members ) );
   }
   void erase( K const & key ) {
      std::vector< Member > members( begin(), end() );
      std::erase_if( members, [&]( Member const & member ) { return member.first == key; } );
      members_ = members.empty() ? nullptr : new Members( std::move( members ) );
   }
   bool empty() const { return !members_; }

   Member const * begin() const { return members_ ? members_->list.data() : nullptr; }
   Member const * end() const {
      return members_ ? members_->list.data() + members_->list.size() : nullptr;
   }

   friend bool operator==( ValueMap const & a, ValueMap const & b ) {
      return a.members_ == b.members_ || std::equal( a.begin(), a.end(), b.begin(), b.end() );
   }

 private:
   struct Members : PtrInterface {
      explicit Members( std::vector< Member > && members ) : list( std::move( members ) ) {}
      std::vector< Member > const list;
   };

   /** The first member whose key isn't below the given one. */
   template < class It >
   static It place( It first, It last, K const & key ) {
      return std::lower_bound( first, last, key, []( Member const & member, K const & wanted ) {
         return member.first < wanted;
      } );
   }

   Ptr< Members const > members_;
};

}  // namespace Kel
