#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <stdexcept>

#include "Sample.h"

namespace {

using namespace Sample;
using Kel::Ptr;

class DeliveryTest : public testing::Test {
 protected:
   ~DeliveryTest() override { EXPECT_LE( Box::alive, 1 ) << "only the fixture's box is left"; }
   Ptr< WatchSm > watch( char const * name ) {
      Ptr< WatchSm > machine = Kel::create< WatchSm >( box, Kel::String( name ), &script );
      script.log.clear();
      return machine;
   }
   Script script;
   Ptr< Box > box = newBox();
};

TEST_F( DeliveryTest, OnlyAChangeNotifiesAndItHasBeenMadeByThen ) {
   auto a = watch( "a" );
   int seen = 0;
   script.on["a size"] = [&] { seen = box->size(); };
   box->sizeIs( 3 );
   EXPECT_EQ( seen, 3 );
   box->sizeIs( 3 );
   box->labelIs( "not watched" );
   EXPECT_EQ( script.take(), Log{ "a size" } );

   std::vector< std::pair< bool, int > > items;
   script.on["a item 7"] = [&] { items.emplace_back( box->itemHas( 7 ), box->item( 7 ) ); };
   box->itemIs( 7, 0 );
   box->itemIs( 7, 0 );
   box->itemIs( 7, 1 );
   EXPECT_TRUE( box->itemDel( 7 ) );
   EXPECT_FALSE( box->itemDel( 7 ) );
   EXPECT_EQ( script.take(), Log( 3, "a item 7" ) );
   EXPECT_EQ( items, ( std::vector< std::pair< bool, int > >{ { true, 0 }, { true, 1 }, {} } ) );

   // A handler without a key stands for every key.
   box->priceIs( { "EUR", 5 } );
   EXPECT_EQ( script.take(), Log{ "a prices" } );
}

TEST_F( DeliveryTest, AnEmptiedMapNotifiesForEachMember ) {
   auto a = watch( "a" );
   auto fill = [&] {
      for ( int key : { 3, 1, 2 } ) {
         box->itemIs( key, key );
      }
      script.log.clear();
   };
   fill();
   box->itemDelAll();
   EXPECT_EQ( script.take(), ( Log{ "a item 3", "a item 1", "a item 2" } ) );
   EXPECT_EQ( box->itemCount(), 0u );

   // A handler takes others out on the way: each is told of once all the same.
   fill();
   script.on["a item 3"] = [&] { box->itemDel( 2 ); };
   box->itemDelAll();
   EXPECT_EQ( script.take(), ( Log{ "a item 3", "a item 2", "a item 1" } ) );

   // A handler that puts its key back must not keep the mutator busy for ever.
   fill();
   script.on["a item 3"] = [&] {
      if ( !box->itemHas( 3 ) ) {
         box->itemIs( 3, 4 );
      }
   };
   box->itemDelAll();
   EXPECT_EQ( script.take(), ( Log{ "a item 3", "a item 3", "a item 1", "a item 2" } ) );
   EXPECT_EQ( box->itemCount(), 1u );
}

TEST_F( DeliveryTest, AMutatorReturnsRightlyWhateverItsHandlersDid ) {
   // The very entry goes while it is being announced.
   auto a = watch( "a" );
   script.on["a item 1"] = [&] { box->itemDel( 1 ); };
   box->itemIs( 1, 5 );
   EXPECT_FALSE( box->itemHas( 1 ) );
   // The map rehashes while it is being changed, and the key is one that stands inside it.
   script.on["a item 2"] = [&] {
      for ( int key = 100; key != 200; ++key ) {
         box->itemIs( key, key );
      }
   };
   box->itemIs( 2, 5 );
   EXPECT_EQ( box->item( 2 ), 5 );
   EXPECT_EQ( box->itemCount(), 101u );

   // The last reference to the entity that notifies goes in its handler.
   script.on = { { "a size", [&] {
                     a->boxDel();
                     box = nullptr;
                  } } };
   box->sizeIs( 1 );
   EXPECT_EQ( Box::alive, 0 );

   // The same while others were still to be told.
   box = newBox();
   script.on.clear();
   a->boxIs( box );
   auto b = watch( "b" );
   auto c = watch( "c" );
   script.on = { { "a size", [&] {
                     for ( auto const & machine : { c, a, b } ) {
                        machine->boxDel();
                     }
                     box = nullptr;
                     EXPECT_EQ( Box::alive, 1 ) << "the visit goes on in its list";
                  } } };
   box->sizeIs( 1 );
   EXPECT_EQ( script.take(), Log{ "a size" } );
   EXPECT_EQ( Box::alive, 0 );

   box = newBox();
   script.on.clear();
   a->boxIs( box );
   box->itemIs( 1, 1 );
   box->itemIs( 2, 1 );
   script.on = { { "a item 1", [&] {
                     a->boxDel();
                     box = nullptr;
                  } } };
   box->itemDelAll();
   EXPECT_EQ( Box::alive, 0 );
}

TEST_F( DeliveryTest, ANullKeyRunsNothing ) {
   auto a = watch( "a" );
   box->notify( Box::itemId, nullptr );
   box->notify( Box::priceId, nullptr );
   EXPECT_EQ( script.take(), Log{} );
   int const key = 4;
   box->notify( Box::itemId, &key );
   EXPECT_EQ( script.take(), Log{ "a item 4" } );
}

TEST_F( DeliveryTest, ReactorsAreToldInTheOrderInWhichTheyCame ) {
   auto a = watch( "a" );
   auto b = watch( "b" );
   auto c = watch( "c" );
   box->sizeIs( 1 );
   EXPECT_EQ( script.take(), ( Log{ "a size", "b size", "c size" } ) );
   b->boxDel();
   b->boxIs( box );
   script.take();
   box->sizeIs( 2 );
   EXPECT_EQ( script.take(), ( Log{ "a size", "c size", "b size" } ) );
}

TEST_F( DeliveryTest, TheListStandsChangesDuringAVisit ) {
   auto a = watch( "a" );
   auto b = watch( "b" );
   auto c = watch( "c" );
   Ptr< WatchSm > d;
   script.on["a size"] = [&] {
      b = nullptr;
      d = Kel::create< WatchSm >( box, Kel::String( "d" ), &script );
   };
   box->sizeIs( 1 );
   EXPECT_EQ( script.take(), ( Log{ "a size", "b end", "d initialized", "c size" } ) );
   script.on.clear();
   box->sizeIs( 2 );
   EXPECT_EQ( script.take(), ( Log{ "a size", "c size", "d size" } ) );

   // One that leaves and comes back is not told of what happened before.
   script.on["a size"] = [&] {
      c->boxDel();
      c->boxIs( box );
   };
   box->sizeIs( 3 );
   EXPECT_EQ( script.take(), ( Log{ "a size", "c size", "c items", "c prices", "d size" } ) );
   EXPECT_EQ( box->notifieeList().size(), 3u );

   // A write inside a handler reaches all, then the first visit goes on.
   script.on = { { "a size", [&] { box->itemIs( 1, box->size() ); } } };
   box->sizeIs( 4 );
   EXPECT_EQ( script.take(),
              ( Log{ "a size", "a item 1", "d item 1", "c item 1", "d size", "c size" } ) );
}

TEST_F( DeliveryTest, AHandlerMayDeleteItsOwnMachine ) {
   auto a = watch( "a" );
   auto b = watch( "b" );
   script.on["a size"] = [&] {
      WatchSm & self = *a;
      a = nullptr;
      self.event( " still there" );
      Ptr< WatchSm > again( &self );
      again = nullptr;
      self.event( " still there" );
   };
   box->sizeIs( 1 );
   EXPECT_EQ( script.take(),
              ( Log{ "a size", "a still there", "a still there", "a end", "b size" } ) );

   // Inside a nested dispatch of the same machine it stays for the outer one.
   script.on = { { "b size",
                   [&] {
                      WatchSm & self = *b;
                      box->itemIs( 1, 1 );
                      self.event( " outer" );
                   } },
                 { "b item 1", [&] { b = nullptr; } } };
   box->sizeIs( 2 );
   EXPECT_EQ( script.take(), ( Log{ "b size", "b item 1", "b outer", "b end" } ) );
   EXPECT_TRUE( box->notifieeList().size() == 0 );
}

TEST_F( DeliveryTest, AHandlerMayRepointItsOwnReactor ) {
   auto a = watch( "a" );
   auto b = watch( "b" );
   auto other = newBox( "other" );
   script.on["a size"] = [&] {
      a->boxIs( other );
      a->event( " done" );
   };
   box->sizeIs( 1 );
   // Inside, the sweep meets the new notifier; its own row runs again, and changes nothing more.
   EXPECT_EQ( script.take(),
              ( Log{ "a size", "a size", "a done", "a items", "a prices", "a done", "b size" } ) );
   box->sizeIs( 2 );
   EXPECT_EQ( script.take(), Log{ "b size" } );
   script.on.clear();
   other->sizeIs( 1 );
   EXPECT_EQ( script.take(), Log{ "a size" } );
   EXPECT_EQ( a->box(), other );
}

TEST_F( DeliveryTest, AZombieIsReachedByNothingEvenInFlight ) {
   auto a = watch( "a" );
   auto b = watch( "b" );
   script.on["a size"] = [&] {
      a->kelDoZombieReactors( true );
      b->kelDoZombieReactors( true );
      box->itemIs( 1, 1 );
      a->event( " done" );
   };
   box->sizeIs( 1 );
   EXPECT_EQ( script.take(), ( Log{ "a size", "a done" } ) );
   EXPECT_TRUE( a->kelMarkedForDeletion() );
   box->sizeIs( 2 );
   EXPECT_EQ( script.take(), Log{} );
   // A new notifier runs no sweep for a zombie, nor does the old one once it is back.
   auto other = newBox( "other" );
   a->boxIs( other );
   b->boxDel();
   b->boxIs( box );
   box->sizeIs( 3 );
   other->sizeIs( 3 );
   EXPECT_EQ( script.take(), Log{} );
   script.on.clear();
   a->kelDoZombieReactors( false );
   other->sizeIs( 4 );
   EXPECT_EQ( script.take(), Log{ "a size" } );
}

TEST_F( DeliveryTest, AnExceptionLeavesTheListUsable ) {
   auto a = watch( "a" );
   auto b = watch( "b" );
   script.on["a size"] = [&] {
      b->boxDel();
      throw std::runtime_error( "handler" );
   };
   EXPECT_THROW( box->sizeIs( 1 ), std::runtime_error );
   EXPECT_EQ( box->size(), 1 ) << "what was written stays";
   script.take();
   script.on.clear();
   auto c = watch( "c" );
   box->sizeIs( 2 );
   EXPECT_EQ( script.take(), ( Log{ "a size", "c size" } ) );
   a = nullptr;
   EXPECT_EQ( script.take(), Log{ "a end" } ) << "nothing holds the machine any more";
}

/** Machines come and go at random inside a visit; each is told once if it was there throughout. */
TEST_F( DeliveryTest, RandomChangesDuringVisits ) {
   for ( unsigned seed = 0; seed != 200; ++seed ) {
      std::mt19937 random( seed );
      auto below = [&]( std::size_t n ) {
         return static_cast< std::size_t >( random() % static_cast< unsigned >( n ) );
      };
      Script quiet;
      std::vector< Ptr< WatchSm > > there;
      int made = 0;
      auto add = [&] {
         std::string const name = std::to_string( made++ );
         there.push_back( Kel::create< WatchSm >( box, Kel::String( name ), &quiet ) );
      };
      for ( int i = 0; i != 12; ++i ) {
         add();
      }
      for ( int write = 1; write != 12; ++write ) {
         quiet.on.clear();
         Log told;
         std::vector< std::string > standing;
         for ( auto const & machine : there ) {
            std::string const name = machine->name().stringValue();
            standing.push_back( name );
            quiet.on[name + " size"] = [&, name] {
               told.push_back( name );
               for ( std::size_t n = below( 4 ); n != 0; --n ) {
                  if ( there.empty() || below( 2 ) ) {
                     add();
                  } else {
                     auto gone =
                        there.begin() + static_cast< std::ptrdiff_t >( below( there.size() ) );
                     std::string const goneName = ( *gone )->name().stringValue();
                     // Those whose turn is over or that are at it have been told.
                     if ( std::ranges::find( told, goneName ) == told.end() ) {
                        std::erase( standing, goneName );
                     }
                     there.erase( gone );
                  }
               }
            };
         }
         box->sizeIs( box->size() + 1 );
         ASSERT_EQ( told, standing ) << "seed " << seed << ", write " << write;
         ASSERT_EQ( box->notifieeList().size(), there.size() ) << "seed " << seed;
      }
   }
}

}  // namespace
