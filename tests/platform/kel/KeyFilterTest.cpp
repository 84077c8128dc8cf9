#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "platform/kel/Entity.h"
#include "platform/kel/StateMachine.h"

/*
 * Reactors that hear only of the keys that they want: they must see exactly what they would pick
 * out for themselves if they heard of all keys.
 */

namespace {

using Kel::Ptr;

class Board : public Kel::NamedEntity {
   KEL_ENTITY( Board )
   KEL_MAP( int, int, item )
   KEL_MAP( int, int, other )
};

struct Listener {
   std::vector< std::string > log;
   /** What a handler does beside its line in the log, by that line. */
   std::map< std::string, std::function< void() > > on;

   void heard( Kel::String const & who, int key ) {
      std::string const line = who.stringValue() + " " + std::to_string( key );
      log.push_back( line );
      if ( auto found = on.find( line ); found != on.end() ) {
         std::function< void() > const action = found->second;
         action();
      }
   }
   std::vector< std::string > take() { return std::exchange( log, {} ); }
};
using Log = std::vector< std::string >;

class AllSm : public Kel::StateMachine {
   KEL_LOCAL_STATE_MACHINE( AllSm )
   KEL_REACTOR( KelBoard, Board const, board, KEL_ON( item, handleItem ) )
   KEL_GIVEN( Kel::String, name )
   KEL_GIVEN( Listener *, listener )
   void handleItem( int const & key ) { listener()->heard( name(), key ); }
};

class KeySm : public Kel::StateMachine {
   KEL_LOCAL_STATE_MACHINE( KeySm )
   KEL_REACTOR_BY_KEY( KelBoard, Board const, board, item, std::identity, handleItem )
   KEL_GIVEN( Kel::String, name )
   KEL_GIVEN( Listener *, listener )
   void handleItem( int const & key ) { listener()->heard( name(), key ); }
   void handleItem() { listener()->heard( name(), -1 ); }
};

struct LastDigit {
   int operator()( int key ) const { return key % 10; }
};
class DigitSm : public Kel::StateMachine {
   KEL_LOCAL_STATE_MACHINE( DigitSm )
   KEL_REACTOR_BY_KEY( KelBoard, Board const, board, item, LastDigit, handleItem )
   KEL_GIVEN( Kel::String, name )
   KEL_GIVEN( Listener *, listener )
   void handleItem( int const & key ) { listener()->heard( name(), key ); }
};

class KeyFilterTest : public testing::Test {
 protected:
   template < class Machine = KeySm >
   Ptr< Machine > make( char const * name, std::initializer_list< int > wanted ) {
      Ptr< Machine > machine = Kel::create< Machine >( board, Kel::String( name ), &listener );
      for ( int key : wanted ) {
         machine->boardWants( key, true );
      }
      return machine;
   }
   Listener listener;
   Ptr< Board > board{ new Board( "board" ) };
};

TEST_F( KeyFilterTest, WantedKeysAloneInTheOrderOfRegistration ) {
   auto a = make( "a", { 1, 2, 2 } );
   auto all = Kel::create< AllSm >( board, Kel::String( "all" ), &listener );
   auto digit = make< DigitSm >( "digit", { 1 } );
   auto b = make( "b", { 1 } );
   board->itemIs( 1, 5 );
   board->itemIs( 2, 5 );
   board->itemIs( 21, 5 );
   board->itemIs( 3, 5 );
   board->otherIs( 1, 5 );
   EXPECT_EQ( listener.take(), ( Log{ "a 1", "all 1", "digit 1", "b 1", "a 2", "all 2", "all 21",
                                      "digit 21", "all 3" } ) );
   a->boardWants( 1, false );
   a->boardWants( 3, false );
   all = nullptr;
   board->itemDel( 1 );
   board->itemDel( 2 );
   EXPECT_EQ( listener.take(), ( Log{ "digit 1", "b 1", "a 2" } ) );
}

TEST_F( KeyFilterTest, ComingAndGoingDuringAVisit ) {
   auto a = make( "a", { 1 } );
   auto b = make( "b", { 1 } );
   auto c = make( "c", { 1 } );
   auto d = make( "d", { 2 } );
   Ptr< KeySm > late;
   listener.on["a 1"] = [&] {
      b = nullptr;
      c->boardWants( 1, false );
      // Was there when the visit began, and wants the key when its turn comes.
      d->boardWants( 1, true );
      late = make( "late", { 1 } );
   };
   board->itemIs( 1, 1 );
   EXPECT_EQ( listener.take(), ( Log{ "a 1", "d 1" } ) );
   listener.on = { { "a 1", [&] { a = nullptr; } },
                   { "d 1", [&] { board->itemIs( 2, board->item( 2 ) + 1 ); } } };
   board->itemIs( 1, 2 );
   EXPECT_EQ( listener.take(), ( Log{ "a 1", "d 1", "d 2", "late 1" } ) );
   d = late = c = nullptr;
   board->itemIs( 1, 3 );
   EXPECT_EQ( listener.take(), Log{} );
}

TEST_F( KeyFilterTest, WantsOutliveTheNotifierAndSleepWithTheMachine ) {
   auto a = make( "a", { 1 } );
   Ptr< Board > const first = board;
   Ptr< Board > const second( new Board( "second" ) );
   a->boardIs( second );
   a->boardWants( 2, true );
   EXPECT_EQ( listener.take(), Log{ "a -1" } );
   for ( int key : { 1, 2 } ) {
      first->itemIs( key, 1 );
      second->itemIs( key, 1 );
   }
   EXPECT_EQ( listener.take(), ( Log{ "a 1", "a 2" } ) );
   a->hasNotificationActiveIs( false );
   second->itemDel( 1 );
   a->hasNotificationActiveIs( true );
   second->itemDel( 2 );
   a->kelDoZombieReactors( true );
   second->itemIs( 1, 1 );
   EXPECT_EQ( listener.take(), Log{ "a 2" } );
   a->boardDel();
   a->boardWants( 1, false );
   a->boardWants( 3, true );
   a->kelDoZombieReactors( false );
   a->boardIs( first );
   EXPECT_EQ( listener.take(), Log{ "a -1" } );
   first->itemDel( 1 );
   first->itemDel( 2 );
   first->itemIs( 3, 1 );
   EXPECT_EQ( listener.take(), ( Log{ "a 2", "a 3" } ) );
}

/** Pairs of machines, one that picks for itself: whatever happens, both see the same. */
TEST_F( KeyFilterTest, SeesWhatItWouldPickForItself ) {
   struct Pair {
      Ptr< KeySm > byKey;
      Ptr< AllSm > all;
      std::map< int, bool > wanted;
   };
   Listener everything;
   std::map< std::string, Pair > pairs;
   std::mt19937 random( 7 );
   auto below = [&]( unsigned n ) { return static_cast< int >( random() % n ); };
   for ( int round = 0; round != 20000; ++round ) {
      std::string const name = std::to_string( below( 30 ) );
      Pair & pair = pairs[name];
      switch ( below( 8 ) ) {
         case 0:
            pair = {};
            break;
         case 1:
            pair = { make( name.c_str(), {} ),
                     Kel::create< AllSm >( board, Kel::String( name ), &everything ),
                     {} };
            break;
         case 2:
         case 3:
         case 4:
            if ( int const key = below( 12 ); pair.byKey ) {
               pair.wanted[key] = below( 2 ) != 0;
               pair.byKey->boardWants( key, pair.wanted[key] );
            }
            break;
         default:
            int const key = below( 12 );
            board->itemIs( key, round + 1 );
            Log expected;
            for ( std::string const & line : everything.take() ) {
               if ( pairs[line.substr( 0, line.find( ' ' ) )].wanted[key] ) {
                  expected.push_back( line );
               }
            }
            ASSERT_EQ( listener.take(), expected ) << "round " << round;
      }
   }
}

}  // namespace
