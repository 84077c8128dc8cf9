#include <gtest/gtest.h>

#include <csignal>
#include <sstream>

#include "Sample.h"
#include "platform/kel/Exceptions.h"

namespace {

using namespace Sample;
using Kel::Ptr, Kel::String;

/** Its second input tells its key. */
class LabelSm : public Kel::StateMachine {
   KEL_LOCAL_STATE_MACHINE( LabelSm )
   KEL_GIVEN( String, label )
   KEL_GIVEN( Ptr< Box >, box )
   static constexpr std::size_t keyInput = 1;
   static String keyOf( String const &, Ptr< Box > const & box ) { return box->name(); }
};

class OwnerSm : public Kel::StateMachine {
   KEL_LOCAL_STATE_MACHINE( OwnerSm )
   KEL_GIVEN( Script *, script )
   KEL_CHILD( WatchSm, child )
   KEL_CHILDREN_BY_KEY( String, WatchSm, watch )
   KEL_CHILDREN_IN_ORDER( String, WatchSm, sorted )
   KEL_CHILDREN_BY_KEY( String, LabelSm, label )

 protected:
   void handleEnd() override { script()->event( "owner end" ); }
};

class ShelfSm;

/** A nested reactor: state and handlers per box, and a child of its own. */
class BoxReactor : public Kel::StateMachine {
   KEL_LOCAL_STATE_MACHINE( BoxReactor )
   KEL_REACTOR( KelBox, Box const, box,
                KEL_ROWS( KEL_ON( size, handleSize )
                          KEL_ON( item, handleItem ) ) )
   KEL_OWNER( ShelfSm, owner )
   KEL_OWN( String, name )
   KEL_OWN( Script *, script )
   KEL_CHILD( WatchSm, helper )
   static String keyOf( Ptr< Box const > const & box ) { return box->name(); }

   void handleInitialized() override;
   void handleSize() { event( " size" ); }
   void handleItem() { event( " items" ); }
   void handleItem( int key ) { event( " item " + std::to_string( key ) ); }
   void event( std::string const & what );

 protected:
   void handleEnd() override { event( " end" ); }
};

class ShelfSm : public Kel::StateMachine {
   KEL_LOCAL_STATE_MACHINE( ShelfSm )
   KEL_REACTOR( KelShelf, Shelf const, shelf, KEL_ON( box, handleBox ) )
   KEL_GIVEN( Script *, script )
   KEL_NESTED( String, BoxReactor, box )

   void createNestedReactors() override { handleBoxes(); }
   void handleInitialized() override { script()->event( "shelf initialized" ); }
   void handleBoxes() {
      for ( String const & name : shelf()->boxKeys() ) {
         handleBox( name );
      }
   }
   void handleBox( String const & name ) {
      if ( Ptr< Box > box = shelf()->box( name ) ) {
         boxIs( box );
      } else {
         boxDel( name );
      }
   }
};

void BoxReactor::event( std::string const & what ) {
   script()->event( "nested " + name().stringValue() + what );
}

void BoxReactor::handleInitialized() {
   nameIs( box()->name() );
   scriptIs( owner()->script() );
   event( owner()->box( name() ) == this ? " initialized in place" : " initialized" );
}

class ChildrenTest : public testing::Test {
 protected:
   void TearDown() override {
      owner = nullptr;
      box = other = nullptr;
      EXPECT_EQ( Box::alive, 0 );
   }
   Script script;
   Ptr< Box > box = newBox();
   Ptr< Box > other = newBox( "other" );
   Ptr< OwnerSm > owner = Kel::create< OwnerSm >( &script );
};

TEST_F( ChildrenTest, ASingleChildStaysForEqualInputsAndIsReplacedForOthers ) {
   auto first = owner->childIs( box, "a", &script );
   EXPECT_EQ( owner->childIs( box, "a", &script ), first );
   EXPECT_EQ( script.take(), Log{ "a initialized" } );
   // The old child is at work until the new one has run, and lives while someone holds it.
   script.on["b initialized"] = [&] { box->sizeIs( 1 ); };
   auto second = owner->childIs( box, "b", &script );
   EXPECT_NE( second, first );
   EXPECT_EQ( owner->child(), second );
   EXPECT_EQ( script.take(), ( Log{ "b initialized", "a size", "b size" } ) );
   first = nullptr;
   EXPECT_EQ( script.take(), Log{ "a end" } );
   second = nullptr;
   owner->childIs( other, "c", &script );
   EXPECT_EQ( script.take(), ( Log{ "c initialized", "b end" } ) );
}

TEST_F( ChildrenTest, ADeletedChildIsOutOfItsPlaceAndHearsNothing ) {
   owner->childIs( box, "a", &script );
   owner->watchIs( box, "b", &script );
   script.take();
   Ptr< WatchSm > a = owner->childDel();
   Ptr< WatchSm > b = owner->watchDel( "b" );
   EXPECT_FALSE( owner->child() || owner->watch( "b" ) );
   EXPECT_FALSE( a->hasNotificationActive() || b->hasNotificationActive() );
   EXPECT_EQ( a->box(), box ) << "its inputs can still be read";
   box->sizeIs( 1 );
   EXPECT_EQ( script.take(), Log{} );
   EXPECT_FALSE( owner->childDel() || owner->watchDel( "b" ) );
   // What its end causes does not find it.
   script.on["b end"] = [&] { EXPECT_EQ( owner->watchCount(), 0u ); };
   b = nullptr;
   EXPECT_EQ( script.take(), Log{ "b end" } );
}

TEST_F( ChildrenTest, AChildByKeyIsMadeOnceAndRefusesOtherInputs ) {
   auto a = owner->watchIs( box, "a", &script );
   EXPECT_EQ( owner->watchIs( box, "a", &script ), a );
   try {
      owner->watchIs( other, "a", &script );
      FAIL() << "other inputs under the same key";
   } catch ( Kel::NameInUseException const & e ) {
      std::ostringstream text;
      text << "Reinstantiating the pointer interface where constructor parameter attribute _box "
              "has a different value of "
           << static_cast< void * >( other.ptr() ) << " than the current value of "
           << static_cast< void * >( box.ptr() ) << " not allowed";
      EXPECT_EQ( e.what(), text.str() );
   }
   try {
      owner->watchIs( Ptr< Box >(), "c", &script );
      FAIL() << "a null record";
   } catch ( Kel::RangeException const & e ) {
      EXPECT_STREQ( e.what(), "null _box parameter to mutator for OwnerSm::watch not allowed\"" );
   }
   EXPECT_THROW( owner->labelIs( String( "a" ), Ptr< Box >() ), Kel::RangeException );
   EXPECT_EQ( owner->watch( "a" ), a );
   EXPECT_EQ( owner->watchCount(), 1u );
   EXPECT_EQ( a->box(), box );
}

TEST_F( ChildrenTest, WhatAnOwnerMakesAtItsEndEndsBeforeIt ) {
   owner->childIs( box, "a", &script );
   owner->watchIs( box, "w", &script );
   script.take();
   OwnerSm * dying = owner.ptr();
   script.on["a end"] = [&] {
      dying->childIs( box, "b", &script );
      dying->watchIs( box, "c", &script );
      EXPECT_FALSE( dying->child() );
   };
   owner = nullptr;
   EXPECT_EQ( script.take(), ( Log{ "owner end", "a end", "b initialized", "b end", "c initialized",
                                    "c end", "w end" } ) );
}

TEST_F( ChildrenTest, AChildStandsInItsPlaceBeforeItsFirstRun ) {
   // Its own first writes lead to the same request again, and find it.
   Ptr< WatchSm > inner;
   script.on["a initialized"] = [&] { inner = owner->watchIs( box, "a", &script ); };
   auto a = owner->watchIs( box, "a", &script );
   EXPECT_EQ( a, inner );
   EXPECT_EQ( script.take(), Log{ "a initialized" } );

   // It may be deleted in its first run, and its owner too.
   script.on = { { "b initialized", [&] { owner->watchDel( "b" ); } } };
   auto b = owner->watchIs( box, "b", &script );
   EXPECT_FALSE( owner->watch( "b" ) );
   EXPECT_FALSE( b->hasNotificationActive() );
   script.on = { { "c initialized", [&] { owner = nullptr; } } };
   a = inner = b = nullptr;
   script.take();
   auto c = owner->watchIs( box, "c", &script );
   EXPECT_EQ( script.take(), ( Log{ "c initialized", "owner end", "a end" } ) );
   owner = Kel::create< OwnerSm >( &script );
   c = owner->childIs( box, "c", &script );
   EXPECT_FALSE( owner );
   EXPECT_FALSE( c->hasNotificationActive() );
   owner = Kel::create< OwnerSm >( &script );
}

TEST_F( ChildrenTest, EmptyingAndWalking ) {
   for ( char const * name : { "c", "a", "d", "b" } ) {
      owner->watchIs( box, name, &script );
      owner->sortedIs( box, name, &script );
   }
   std::string order;
   for ( auto const & [name, machine] : owner->watch() ) {
      order += machine->name().stringValue();
   }
   for ( auto const & [name, machine] : owner->sorted() ) {
      order += name.stringValue();
   }
   EXPECT_EQ( order, "cadbabcd" );
   script.take();
   // An end that deletes others, and makes one anew.
   script.on["c end"] = [&] {
      script.on.clear();
      owner->watchDel( "d" );
      owner->watchIs( box, "c", &script );
   };
   owner->watchDelAll();
   EXPECT_EQ( script.take(), ( Log{ "c end", "d end", "c initialized", "a end", "b end" } ) );
   EXPECT_EQ( owner->watchCount(), 1u );
   owner->sortedDelAll();
   EXPECT_EQ( script.take(), ( Log{ "a end", "b end", "c end", "d end" } ) );
}

class NestedTest : public ChildrenTest {
 protected:
   void TearDown() override {
      machine = nullptr;
      shelf = nullptr;
      ChildrenTest::TearDown();
   }
   Ptr< Shelf > shelf{ new Shelf( "shelf" ) };
   Ptr< ShelfSm > machine;
};

TEST_F( NestedTest, TheyAreThereForWhatStandsBeforeTheOwnersFirstRun ) {
   shelf->boxIs( "a" );
   machine = Kel::create< ShelfSm >( shelf, &script );
   EXPECT_EQ( script.take(), ( Log{ "nested a initialized in place", "shelf initialized" } ) );
   auto b = shelf->boxIs( "b" );
   b->sizeIs( 1 );
   b->itemIs( 4, 4 );
   EXPECT_EQ( script.take(),
              ( Log{ "nested b initialized in place", "nested b size", "nested b item 4" } ) );
   EXPECT_EQ( machine->boxCount(), 2u );
   EXPECT_TRUE( machine->box( "b" )->hasNotificationActive() );
   machine->boxIs( b );
   EXPECT_EQ( script.take(), Log{} );
   shelf->boxDel( "b" );
   EXPECT_EQ( script.take(), Log{ "nested b end" } );
   EXPECT_EQ( b->notifieeList().size(), 0u );
}

TEST_F( NestedTest, OneWhoseNotifierIsReplacedMeetsTheNewOne ) {
   auto old = shelf->boxIs( "a" );
   machine = Kel::create< ShelfSm >( shelf, &script );
   auto nested = machine->box( "a" );
   script.take();
   auto fresh = newBox( "a" );
   EXPECT_EQ( machine->boxIs( fresh ), nested );
   EXPECT_EQ( script.take(), ( Log{ "nested a size", "nested a items" } ) );
   old->sizeIs( 1 );
   EXPECT_EQ( script.take(), Log{} );
   fresh->sizeIs( 1 );
   EXPECT_EQ( script.take(), Log{ "nested a size" } );
   try {
      machine->boxIs( Ptr< Box const >() );
      FAIL() << "a null notifier";
   } catch ( Kel::RangeException const & e ) {
      EXPECT_STREQ( e.what(), "null _box parameter to mutator for ShelfSm::box not allowed\"" );
   }
}

TEST_F( NestedTest, NotificationsAndTheZombieStateFollowTheOwner ) {
   auto a = shelf->boxIs( "a" );
   machine = Kel::create< ShelfSm >( shelf, &script );
   auto helper = machine->box( "a" )->helperIs( other, "helper", &script );
   script.take();
   machine->hasNotificationActiveIs( false );
   EXPECT_FALSE( helper->hasNotificationActive() );
   a->sizeIs( 1 );
   other->sizeIs( 1 );
   EXPECT_EQ( script.take(), Log{} );
   machine->hasNotificationActiveIs( true );
   a->sizeIs( 2 );
   other->sizeIs( 2 );
   EXPECT_EQ( script.take(), ( Log{ "nested a size", "helper size" } ) );

   machine->kelDoZombieReactors( true );
   a->sizeIs( 3 );
   shelf->boxIs( "b" );
   EXPECT_EQ( script.take(), Log{} );
   machine->boxIs( shelf->box( "b" ) );
   shelf->box( "b" )->sizeIs( 1 );
   EXPECT_EQ( script.take(), Log{ "nested b initialized in place" } );
   // Children are no reactors.
   other->sizeIs( 3 );
   EXPECT_EQ( script.take(), Log{ "helper size" } );
   machine->kelDoZombieReactors( false );
   shelf->box( "b" )->sizeIs( 2 );
   EXPECT_EQ( script.take(), Log{ "nested b size" } );
   helper = nullptr;
   machine = nullptr;
   EXPECT_EQ( script.take(), Log{ "helper end" } ) << "nested ones are zombies by then";
}

TEST_F( NestedTest, ItsHandlersKeepTheOwnerAndItsPointerEndsWithTheOwner ) {
   auto a = shelf->boxIs( "a" );
   machine = Kel::create< ShelfSm >( shelf, &script );
   Ptr< BoxReactor > const nested = machine->box( "a" );
   script.on["nested a size"] = [&] {
      machine = nullptr;
      EXPECT_EQ( nested->owner()->shelf(), shelf ) << "the owner stays while the handler runs";
   };
   a->sizeIs( 1 );
   EXPECT_FALSE( nested->owner() );
   EXPECT_EXIT( nested->owner()->shelf(), testing::KilledBySignal( SIGABRT ),
                "A null pointer was followed: .*OwnerPtr.*ShelfSm" );
}

/** Owns a machine with nested reactors, which own children. */
class TopSm : public Kel::StateMachine {
   KEL_LOCAL_STATE_MACHINE( TopSm )
   KEL_CHILD( ShelfSm, shelf )
};

TEST_F( NestedTest, ADeletedChildIsDeafWithItsNestedReactorsWhileItsChildrenWork ) {
   auto a = shelf->boxIs( "a" );
   auto top = Kel::create< TopSm >();
   top->shelfIs( shelf, &script )->box( "a" )->helperIs( other, "helper", &script );
   script.take();
   machine = top->shelfDel();
   a->sizeIs( 1 );
   shelf->boxIs( "b" );
   EXPECT_EQ( script.take(), Log{} );
   other->sizeIs( 1 );
   EXPECT_EQ( script.take(), Log{ "helper size" } );
   EXPECT_EQ( machine->box( "a" )->helperDel()->name(), "helper" );
   EXPECT_EQ( script.take(), Log{ "helper end" } );
}

}  // namespace
