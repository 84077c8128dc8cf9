#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "Sample.h"
#include "platform/kel/HashMap2018.h"
#include "platform/kel/OrderedMap.h"

namespace {

using Kel::HashMap2018, Kel::OrderedMap, Kel::Ptr;

/** A key whose hash says little. */
struct Colliding {
   int n;
   std::size_t hash() const { return static_cast< std::size_t >( n % 3 ); }
   friend bool operator==( Colliding, Colliding ) = default;
};
template < class K >
K keyFrom( int n ) {
   if constexpr ( std::is_same_v< K, Kel::String > ) {
      return Kel::String( "key " + std::to_string( n ) );
   } else {
      return K{ n };
   }
}

/** The naive model: members in order of insertion, each with a serial number. */
template < class K >
struct Model {
   struct Member {
      K key;
      int value;
      int serial;
   };
   std::vector< Member > members;
   int made = 0;

   auto at( K const & key ) { return std::ranges::find( members, key, &Member::key ); }
   bool set( K const & key, int value ) {
      auto found = at( key );
      if ( found == members.end() ) {
         members.push_back( { key, value, made++ } );
         return true;
      }
      return std::exchange( found->value, value ) != value;
   }
   std::optional< int > take( K const & key ) {
      auto found = at( key );
      if ( found == members.end() ) {
         return std::nullopt;
      }
      int const value = found->value;
      members.erase( found );
      return value;
   }
};

/** A cursor, and what it may and must still visit. */
template < class Map >
struct Walker {
   using K = typename Map::Key;
   typename Map::Cursor cursor;
   std::set< int > due;
   int last = -1;

   Walker( Map const & map, Model< K > & model ) : cursor( map ) {
      for ( auto const & member : model.members ) {
         due.insert( member.serial );
      }
      arrive( model );
   }
   /** Members come in order, each once, and as they are now. */
   void arrive( Model< K > & model ) {
      if ( !cursor ) {
         return;
      }
      auto const * member = cursor.member();
      ASSERT_TRUE( member );
      auto found = model.at( member->key );
      ASSERT_TRUE( found != model.members.end() );
      ASSERT_EQ( found->value, member->value );
      ASSERT_GT( found->serial, last );
      last = found->serial;
      due.erase( last );
   }
};

template < class K >
class MapTest : public testing::Test {};
using Keys = testing::Types< int, Kel::String, Colliding >;
TYPED_TEST_SUITE( MapTest, Keys );

TYPED_TEST( MapTest, RandomOperationsAndWalksAgainstAModel ) {
   using K = TypeParam;
   using Map = HashMap2018< K, int >;
   for ( unsigned seed = 0; seed != 60; ++seed ) {
      std::mt19937 random( seed );
      auto below = [&]( int n ) {
         return static_cast< int >( random() % static_cast< unsigned >( n ) );
      };
      // From maps without an index to such whose array is compacted again and again.
      int const range = std::vector{ 6, 20, 150 }[seed % 3];
      Map map;
      Model< K > model;
      std::vector< Walker< Map > > walkers;
      for ( int step = 0; step != 1500; ++step ) {
         SCOPED_TRACE( "seed " + std::to_string( seed ) + ", step " + std::to_string( step ) );
         K const key = keyFrom< K >( below( range ) );
         auto take = [&]( K const & gone ) {
            if ( auto found = model.at( gone ); found != model.members.end() ) {
               for ( auto & walker : walkers ) {
                  walker.due.erase( found->serial );
               }
            }
            ASSERT_EQ( map.take( gone ), model.take( gone ) );
         };
         // Phases of growth and of shrinking.
         int const growth = step / 300 % 2 ? 25 : 60;
         if ( int const dice = below( 100 ); dice < growth ) {
            int const value = below( 3 );
            ASSERT_EQ( map.set( key, value ), model.set( key, value ) );
         } else if ( dice < 75 ) {
            take( key );
         } else if ( dice < 78 ) {
            walkers.emplace_back( map, model );
         } else if ( dice == 99 && below( 8 ) == 0 ) {
            map.clear();
            model.members.clear();
            for ( auto & walker : walkers ) {
               walker.due.clear();
            }
         } else if ( !walkers.empty() ) {
            auto & walker =
               walkers[static_cast< std::size_t >( below( static_cast< int >( walkers.size() ) ) )];
            if ( below( 3 ) == 0 && walker.cursor.member() ) {
               take( K( walker.cursor.member()->key ) );
               ASSERT_FALSE( walker.cursor.member() );
            }
            walker.cursor.advance();
            walker.arrive( model );
            if ( !walker.cursor ) {
               ASSERT_TRUE( walker.due.empty() );
               std::swap( walker, walkers.back() );
               walkers.pop_back();
            }
         }
         auto found = model.at( key );
         int const * value = map.find( key );
         ASSERT_EQ( value != nullptr, found != model.members.end() );
         ASSERT_TRUE( !value || *value == found->value );
         ASSERT_EQ( map.size(), model.members.size() );
         // Look-ups and deletions that follow the order, as a walk over another map makes them.
         auto at = static_cast< std::size_t >( below( 5 * range ) );
         for ( std::size_t n = 0; n != 12 && at < model.members.size(); ++n ) {
            auto const member = model.members[at];
            int const * const stands = map.find( member.key );
            ASSERT_TRUE( stands && *stands == member.value );
            if ( below( 8 ) == 0 ) {
               take( member.key );
            } else {
               at += static_cast< std::size_t >( below( 6 ) != 0 );
            }
         }
         if ( testing::Test::HasFatalFailure() ) {
            return;
         }
      }
      std::vector< K > order;
      for ( auto const & key : Kel::KeyWalk< Map >( nullptr, map ) ) {
         order.push_back( key );
      }
      ASSERT_TRUE( std::ranges::equal( order, model.members, {}, {}, &Model< K >::Member::key ) );
      // What is left is visited by the walks that are still under way.
      for ( auto & walker : walkers ) {
         while ( walker.cursor ) {
            walker.cursor.advance();
            walker.arrive( model );
         }
         ASSERT_TRUE( walker.due.empty() );
      }
   }
}

TEST( OrderedMapTest, GoesOnToTheNextLargerKeyThatStands ) {
   OrderedMap< int, int > map;
   for ( int key : { 40, 10, 30, 20 } ) {
      map.add( key, key );
   }
   std::vector< int > seen;
   for ( auto const & [key, value] : Kel::MemberWalk< OrderedMap< int, int > >( nullptr, map ) ) {
      seen.push_back( value );
      if ( key == 10 ) {
         map.take( 10 );
         map.take( 20 );
         map.add( 5, 5 );
         map.add( 25, 25 );
      }
   }
   EXPECT_EQ( seen, ( std::vector{ 10, 25, 30, 40 } ) );
   EXPECT_EQ( map.take( 5 ), 5 );
   EXPECT_EQ( map.take( 5 ), std::nullopt );
}

TEST( WalkTest, ItsOwnerAndWhatItYieldsStayForTheBody ) {
   Ptr< Sample::Shelf > shelf( new Sample::Shelf( "shelf" ) );
   for ( char const * name : { "c", "a", "b" } ) {
      shelf->boxIs( name )->sizeIs( name[0] );
      shelf->sortedIs( name );
   }
   std::string seen;
   for ( auto const & [name, box] : shelf->box() ) {
      shelf->boxDelAll();
      shelf = nullptr;
      seen += name.stringValue() + static_cast< char >( box->size() );
   }
   EXPECT_EQ( seen, "cc" );
   EXPECT_EQ( Sample::Box::alive, 0 );
}

/** A value that does something as it goes, as a counted reference may. */
struct Last : Kel::PtrInterface {
   explicit Last( std::function< void() > f ) : end( std::move( f ) ) {}
   ~Last() override { end(); }
   std::function< void() > end;
};

/** The walk holds the last reference to what its body has deleted. */
template < template < class, class > class AnyMap >
void expectWalkBesideAnEnd() {
   using Map = AnyMap< int, Ptr< Last > >;
   Map map;
   auto const eraseRange = [&]( int first, int last ) {
      for ( int key = first; key != last; ++key ) {
         map.take( key );
      }
   };
   for ( int key = 0; key != 100; ++key ) {
      map.add( key, Ptr< Last >( new Last( [&eraseRange, key] {
                  // The next one goes too, then so many that gaps are closed.
                  eraseRange( key + 1, key == 10 ? key + 2 : key == 20 ? key + 70 : key + 1 );
               } ) ) );
   }
   std::vector< int > seen;
   for ( auto const & [key, value] : Kel::MemberWalk< Map >( nullptr, map ) ) {
      seen.push_back( key );
      if ( key == 10 || key == 20 ) {
         map.take( key );
      }
   }
   std::vector< int > expected;
   for ( int key = 0; key != 100; ++key ) {
      if ( key != 11 && ( key <= 20 || key >= 90 ) ) {
         expected.push_back( key );
      }
   }
   EXPECT_EQ( seen, expected );
}
TEST( WalkTest, WhatEndsBesideItMayChangeTheMap ) {
   expectWalkBesideAnEnd< HashMap2018 >();
   expectWalkBesideAnEnd< OrderedMap >();
}

TEST( HashMapTest, AValueThatGoesMeetsAMapThatIsWhole ) {
   using Map = HashMap2018< int, Ptr< Last > >;
   Map map;
   int ends = 0;
   auto last = [&] {
      return Ptr< Last >( new Last( [&] {
         ++ends;
         EXPECT_FALSE( map.has( 1 ) && ends != 2 );
         for ( int key = 100; key != 150; ++key ) {
            map.set( key, Ptr< Last >() );
         }
      } ) );
   };
   map.set( 1, last() );
   map.erase( 1 );
   map.set( 1, last() );
   map.set( 1, Ptr< Last >() );
   map.set( 1, last() );
   map.clear();
   EXPECT_EQ( ends, 3 );
   EXPECT_EQ( map.size(), 50u );
}

}  // namespace
