#pragma once

#include <iterator>
#include <optional>
#include <utility>
#include <vector>

#include "platform/kel/Ptr.h"

namespace Kel {

/**
 * The walk over a map for a range-for. It yields copies, so that the body may change the map in
 * any way, and holds the map's owner, so that the body may drop that too.
 *
 * `Map` is HashMap2018 or OrderedMap; `Yield` says what is copied of a member.
 */
template < class Map, class Yield >
class Walk {
 public:
   using Item = decltype( Yield{}( std::declval< typename Map::Member const & >() ) );

   Walk( Ptr< PtrInterface const > owner, Map const & map )
      : owner_( std::move( owner ) ), map_( &map ) {}

   class Iterator {
    public:
      explicit Iterator( Map const & map ) : cursor_( map ) { load(); }
      Item const & operator*() const { return *item_; }
      Iterator & operator++() {
         // What it holds may end here, and change the map.
         item_.reset();
         cursor_.advance();
         load();
         return *this;
      }
      friend bool operator==( Iterator const & it, std::default_sentinel_t ) { return !it.cursor_; }

    private:
      void load() {
         if ( cursor_ ) {
            item_.emplace( Yield{}( cursor_.current() ) );
         }
      }

      typename Map::Cursor cursor_;
      std::optional< Item > item_;
   };

   Iterator begin() const { return Iterator( *map_ ); }
   std::default_sentinel_t end() const { return {}; }

 private:
   Ptr< PtrInterface const > owner_;
   Map const * map_;
};

struct YieldMember {
   template < class Member >
   Member operator()( Member const & member ) const {
      return member;
   }
};

struct YieldKey {
   template < class Member >
   auto operator()( Member const & member ) const {
      return member.key;
   }
};

/** The keys that stand now: to delete these ends, whatever handlers add on the way. */
template < class Map >
std::vector< typename Map::Key > keysOf( Map const & map ) {
   std::vector< typename Map::Key > keys;
   keys.reserve( map.size() );
   for ( typename Map::Cursor cursor( map ); cursor; cursor.advance() ) {
      keys.push_back( cursor.member()->key );
   }
   return keys;
}

template < class Map >
using MemberWalk = Walk< Map, YieldMember >;
template < class Map >
using KeyWalk = Walk< Map, YieldKey >;

}  // namespace Kel
