#include <gtest/gtest.h>

#include <vector>

#include "platform/kel/HashMap2018.h"

namespace {

using Map = Kel::HashMap2018< int, int >;

std::vector< int > walkFrom( Map const & map, int key ) {
   std::vector< int > keys;
   for ( Map::Cursor cursor( map, key ); cursor; cursor.advance() ) {
      keys.push_back( cursor.member()->key );
   }
   return keys;
}

TEST( BookmarkCursorTest, BeginsAtItsKeyAndAtTheFirstEntryWithoutIt ) {
   // Few entries are searched, many are indexed.
   for ( int count : { 5, 100 } ) {
      Map map;
      EXPECT_TRUE( walkFrom( map, 1 ).empty() );
      for ( int i = 0; i != count; ++i ) {
         map.set( i, 0 );
      }
      map.erase( 0 );
      EXPECT_EQ( walkFrom( map, count - 2 ), ( std::vector{ count - 2, count - 1 } ) );
      map.erase( count - 2 );
      EXPECT_EQ( walkFrom( map, count - 2 ).front(), 1 );
      EXPECT_EQ( walkFrom( map, count - 2 ).size(), static_cast< std::size_t >( count - 2 ) );
      // The gaps are closed on the way; the key has another place then.
      for ( int i = 1; i != count - 1; ++i ) {
         map.erase( i );
      }
      EXPECT_EQ( walkFrom( map, count - 1 ), std::vector{ count - 1 } );
   }
}

}  // namespace
