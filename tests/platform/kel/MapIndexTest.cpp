#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "platform/kel/Entity.h"

namespace {

struct Tens {
   int operator()( int key, int ) const { return key / 10; }
};
struct Parity {
   int operator()( int, int value ) const { return value % 2; }
};

class Ledger : public Kel::NamedEntity {
   KEL_ENTITY( Ledger )
   KEL_INDEXED_MAP( int, int, item, Kel::KeyIndex< int, int, Tens >,
                    Kel::CountIndex< int, int, Parity > )
};

class MapIndexTest : public testing::Test {
 protected:
   Kel::Ptr< Ledger > ledger{ new Ledger( "ledger" ) };
   std::vector< int > decade( int group ) const {
      std::vector< int > keys;
      for ( int key : ledger->itemKeys< Tens >( group ) ) {
         keys.push_back( key );
      }
      return keys;
   }
};

TEST_F( MapIndexTest, TellsWhatAWalkOfAllMembersWould ) {
   std::mt19937 random( 7 );
   for ( int step = 0; step != 3000; ++step ) {
      int const key = static_cast< int >( random() % 40 );
      if ( random() % 64 == 0 ) {
         ledger->itemDelAll();
      } else if ( random() % 3 ) {
         ledger->itemIs( key, static_cast< int >( random() % 5 ) );
      } else {
         ledger->itemDel( key );
      }
      std::vector< int > keys[4];
      std::size_t odd = 0;
      for ( auto const & [member, value] : ledger->item() ) {
         keys[member / 10].push_back( member );
         odd += value % 2 == 1;
      }
      for ( int group = 0; group != 4; ++group ) {
         ASSERT_EQ( decade( group ), keys[group] );
         ASSERT_EQ( ledger->itemCount< Tens >( group ), keys[group].size() );
      }
      ASSERT_EQ( ledger->itemCount< Parity >( 1 ), odd );
      ASSERT_EQ( ledger->itemCount< Parity >( 0 ), ledger->itemCount() - odd );
   }
}

TEST_F( MapIndexTest, WalkOfAGroupOutlivesItsMembersAndTheMap ) {
   for ( int key : { 3, 14, 5, 7 } ) {
      ledger->itemIs( key, 0 );
   }
   std::vector< int > seen;
   for ( int key : ledger->itemKeys< Tens >( 0 ) ) {
      seen.push_back( key );
      if ( key == 3 ) {
         ledger->itemDelAll();
         ledger->itemIs( 9, 1 );
      } else {
         ledger = nullptr;
      }
   }
   EXPECT_EQ( seen, ( std::vector< int >{ 3, 9 } ) );
}

}  // namespace
