#include <gtest/gtest.h>

#include <algorithm>

#include "Sample.h"

namespace {

using namespace Sample;
using Kel::Ptr;

/** Nothing but a name, for the order of ends. */
class LeafSm : public Kel::StateMachine {
   KEL_LOCAL_STATE_MACHINE( LeafSm )
   KEL_GIVEN( Kel::String, name )
   KEL_GIVEN( Script *, script )
   static Kel::String keyOf( Kel::String const & name, Script * ) { return name; }

 protected:
   void handleEnd() override { script()->event( name().stringValue() + " end" ); }
};

class World : public Kel::NamedEntity {
   KEL_ENTITY( World )
   KEL_SCALAR( int, day )
   static Ptr< World > singleton() { return Kel::singletonOf< World >( "world" ); }
};

/** One of everything. */
class WholeSm : public Kel::StateMachine {
   KEL_LOCAL_STATE_MACHINE( WholeSm )
   KEL_REACTOR( KelBox, Box const, box, KEL_ON( size, handleSize ) )
   KEL_GIVEN( Script *, script )
   KEL_REACTOR( KelSecond, Box const, second, KEL_ON( size, handleSecond ) )
   KEL_SINGLETON( World, worldHeld )
   KEL_SINGLETON_REACTOR( KelWorld, World, world, KEL_ON( day, handleDay ) )
   KEL_OWN_REACTOR( KelFound, Box const, found,
                    KEL_ROWS( KEL_ON( size, handleFoundSize )
                              KEL_ON( item, handleFoundItem ) ) )
   KEL_OWN( bool, initialized )
   KEL_OWN_MAP( Kel::String, int, count )
   KEL_OWN_SET( int, backlog )
   KEL_CHILD( LeafSm, first )
   KEL_CHILDREN_BY_KEY( Kel::String, LeafSm, many )
   KEL_CHILD( LeafSm, last )

   void handleInitialized() override {
      initializedIs( true );
      script()->event( hasNotificationActive() ? "initialized while active" : "initialized" );
   }
   void handleSize() { script()->event( "size" ); }
   void handleSecond() { script()->event( "second" ); }
   void handleDay() { script()->event( "day" ); }
   void handleFoundSize() { script()->event( "found size" ); }
   void handleFoundItem( int ) { script()->event( "found item" ); }

 protected:
   void handleEnd() override { script()->event( "end" ); }
};

/** Continues the attributes of another machine. */
class MoreSm : public WholeSm {
   KEL_LOCAL_STATE_MACHINE_OF( MoreSm, WholeSm )
   KEL_REACTOR( KelThird, Box const, third, KEL_ON( size, handleThird ) )
   KEL_CHILD( LeafSm, extra )
   void handleThird() { script()->event( "third" ); }
};

class MachineTest : public testing::Test {
 protected:
   ~MachineTest() override { Kel::Entity::singletonsDel(); }
   Script script;
   Ptr< Box > box = newBox();
   Ptr< Box > other = newBox( "other" );
};

TEST_F( MachineTest, ConstructionArmsRunsAndActivatesInThisOrder ) {
   box->sizeIs( 1 );
   Ptr< WholeSm > machine;
   script.on["initialized"] = [&] { box->sizeIs( 2 ); };
   machine = Kel::create< WholeSm >( box, &script, Ptr< Box >() );
   // What stood before is not told of; what its own first run writes is.
   EXPECT_EQ( script.take(), ( Log{ "initialized", "size" } ) );
   EXPECT_TRUE( machine->hasNotificationActive() );
   EXPECT_TRUE( machine->initialized() );
   EXPECT_EQ( machine->box(), box );
   EXPECT_FALSE( machine->second() );
   EXPECT_FALSE( machine->found() );
   EXPECT_EQ( machine->world(), World::singleton() );
   EXPECT_EQ( machine->worldHeld(), World::singleton() );
   World::singleton()->dayIs( 1 );
   EXPECT_EQ( script.take(), Log{ "day" } );
}

TEST_F( MachineTest, ANewNotifierRunsEveryHandlerWithoutAKeyOnce ) {
   auto machine = Kel::create< WholeSm >( box, &script, box );
   script.take();
   machine->foundIs( box );
   EXPECT_EQ( script.take(), Log{ "found size" } ) << "none before: met as another notifier";
   machine->foundIs( box );
   EXPECT_EQ( script.take(), Log{} ) << "the same notifier changes nothing";
   machine->foundIs( other );
   EXPECT_EQ( script.take(), Log{ "found size" } );
   other->itemIs( 1, 1 );
   box->itemIs( 1, 1 );
   EXPECT_EQ( script.take(), Log{ "found item" } );
   EXPECT_EQ( machine->foundDel(), other );
   EXPECT_EQ( machine->foundDel(), nullptr );
   machine->foundIs( box );
   machine->foundIs( nullptr );
   script.take();
   other->sizeIs( 4 );
   // A sweep that writes what it watches hears of no change but later ones.
   script.on["found size"] = [&] { other->sizeIs( other->size() + 1 ); };
   machine->foundIs( other );
   EXPECT_EQ( script.take(), Log{ "found size" } );
   script.on.clear();
   other->sizeIs( 9 );
   EXPECT_EQ( script.take(), Log{ "found size" } );
   machine->foundDel();
   EXPECT_FALSE( machine->found() );
   EXPECT_EQ( script.take(), Log{} );
}

TEST_F( MachineTest, ANotifierThatIsArmedIsMetAsAnInput ) {
   auto machine = Kel::create< WholeSm >( box, &script, other );
   script.take();
   machine->foundArm( box );
   EXPECT_EQ( script.take(), Log{} );
   EXPECT_EQ( machine->found(), box );
   box->itemIs( 1, 1 );
   EXPECT_EQ( script.take(), Log{ "found item" } );
}

TEST_F( MachineTest, ATreeOfZombiesHearsNothingAndComesToNoEnd ) {
   auto machine = Kel::create< WholeSm >( box, &script, other );
   machine->firstIs( Kel::String( "first" ), &script );
   machine->manyIs( Kel::String( "many" ), &script );
   script.take();
   machine->kelMakeTreeZombie();
   box->sizeIs( 2 );
   machine = nullptr;
   EXPECT_EQ( script.take(), Log{} );
}

TEST_F( MachineTest, NotificationsGoOffAndOnForTheMachineAndItsChildren ) {
   auto machine = Kel::create< WholeSm >( box, &script, other );
   auto child = machine->firstIs( Kel::String( "first" ), &script );
   auto many = machine->manyIs( Kel::String( "many" ), &script );
   EXPECT_TRUE( child->hasNotificationActive() && many->hasNotificationActive() );
   machine->hasNotificationActiveIs( false );
   EXPECT_FALSE( child->hasNotificationActive() || many->hasNotificationActive() );
   script.take();
   box->sizeIs( 1 );
   other->sizeIs( 1 );
   EXPECT_EQ( script.take(), Log{} );
   machine->hasNotificationActiveIs( true );
   EXPECT_TRUE( child->hasNotificationActive() && many->hasNotificationActive() );
   box->sizeIs( 2 );
   other->sizeIs( 2 );
   EXPECT_EQ( script.take(), ( Log{ "size", "second" } ) );
}

TEST_F( MachineTest, TheEndRunsFirstAndChildrenGoInOrderOfDeclaration ) {
   auto machine = Kel::create< WholeSm >( box, &script, other );
   machine->lastIs( Kel::String( "last" ), &script );
   for ( char const * name : { "many 1", "many 2" } ) {
      machine->manyIs( Kel::String( name ), &script );
   }
   machine->firstIs( Kel::String( "first" ), &script );
   machine->foundIs( box );
   script.take();
   WholeSm * dying = machine.ptr();
   // The inputs still work at the class's own end; afterwards nothing arrives.
   script.on["end"] = [&] {
      EXPECT_EQ( dying->found(), box );
      EXPECT_FALSE( dying->kelMarkedForDeletion() );
      box->itemIs( 1, 1 );
   };
   script.on["first end"] = [&] {
      EXPECT_TRUE( dying->kelMarkedForDeletion() );
      EXPECT_FALSE( dying->found() || dying->box() );
      EXPECT_FALSE( dying->first() ) << "out of its place before its end";
      EXPECT_EQ( dying->manyCount(), 2u );
      box->sizeIs( 9 );
   };
   script.on["many 1 end"] = [&] { EXPECT_EQ( dying->manyCount(), 1u ); };
   machine = nullptr;
   EXPECT_EQ( script.take(),
              ( Log{ "end", "found item", "first end", "many 1 end", "many 2 end", "last end" } ) );
   EXPECT_EQ( box->notifieeList().size(), 0u );
   EXPECT_EQ( other->notifieeList().size(), 0u );
}

TEST_F( MachineTest, ADerivedMachineContinuesTheAttributes ) {
   auto machine = Kel::create< MoreSm >( box, &script, other, box );
   machine->extraIs( Kel::String( "extra" ), &script );
   machine->firstIs( Kel::String( "first" ), &script );
   script.take();
   box->sizeIs( 1 );
   EXPECT_EQ( script.take(), ( Log{ "size", "third" } ) );
   EXPECT_STREQ( machine->fwkType().name, "MoreSm" );
   machine = nullptr;
   EXPECT_EQ( script.take(), ( Log{ "end", "first end", "extra end" } ) );
}

TEST_F( MachineTest, OwnCollections ) {
   auto machine = Kel::create< WholeSm >( box, &script, other );
   machine->countIs( "a", 1 );
   machine->countIs( "b", 2 );
   EXPECT_EQ( machine->count( "b" ), 2 );
   EXPECT_EQ( machine->count( "c" ), 0 );
   for ( auto const & [key, value] : machine->count() ) {
      machine->countDelAll();
      machine->countIs( key, value + 10 );
      if ( value > 20 ) {
         break;
      }
   }
   EXPECT_EQ( machine->count( "a" ), 31 ) << "a walk goes on to what an emptied map gets anew";
   for ( int n : { 5, 3, 4 } ) {
      machine->backlogIs( n );
   }
   std::vector< int > order;
   for ( int n : machine->backlog() ) {
      order.push_back( n );
      machine->backlogDel( n );
   }
   EXPECT_EQ( order, ( std::vector{ 5, 3, 4 } ) );
   EXPECT_EQ( machine->backlogCount(), 0u );
}

TEST_F( MachineTest, AClassIsFoundByNameWithItsAttributesAndTriggerTables ) {
   Kel::TypeRecord const * const type = Kel::typeNode( "WholeSm" );
   ASSERT_TRUE( type );
   auto const machines = Kel::machineTypes();
   EXPECT_EQ( std::ranges::count( machines, type ), 1 );
   EXPECT_EQ( std::ranges::count( machines, Kel::typeNode( "World" ) ), 0 );
   EXPECT_EQ( type->create( "whole" ), nullptr ) << "a machine is made from its inputs alone";
   using Kind = Kel::AttributeKind;
   std::vector< std::pair< std::string, Kind > > attributes;
   for ( auto const & attribute : type->attributes() ) {
      EXPECT_EQ( attribute->id(), attributes.size() );
      attributes.emplace_back( attribute->name(), attribute->kind() );
   }
   EXPECT_EQ( attributes, ( decltype( attributes ){ { "box", Kind::Watched },
                                                    { "script", Kind::Given },
                                                    { "second", Kind::Watched },
                                                    { "worldHeld", Kind::Given },
                                                    { "world", Kind::Watched },
                                                    { "found", Kind::Watched },
                                                    { "initialized", Kind::Own },
                                                    { "count", Kind::OwnCollection },
                                                    { "backlog", Kind::OwnCollection },
                                                    { "first", Kind::Child },
                                                    { "many", Kind::ChildrenByKey },
                                                    { "last", Kind::Child } } ) );
   Log rows;
   Log held;
   for ( auto const & attribute : type->attributes() ) {
      if ( Kel::TypeRecord const * const what = attribute->elementType() ) {
         held.push_back( std::string( attribute->name() ) + " " + what->name +
                         ( attribute->isWritable() ? " w" : "" ) );
      }
      if ( Kel::TriggerTable const * const table = attribute->triggers() ) {
         for ( Kel::Trigger const & row : table->rows ) {
            rows.push_back( std::string( table->notifierType().name ) + "." + row.attributeName +
                            " " + table->reactorName + "." + row.handlerName +
                            ( row.keyed ? " k" : "" ) + ( row.sweep ? " s" : "" ) );
         }
      }
   }
   EXPECT_EQ( held,
              ( Log{ "box Sample::Box", "second Sample::Box", "worldHeld World w", "world World w",
                     "found Sample::Box", "first LeafSm", "many LeafSm", "last LeafSm" } ) );
   EXPECT_EQ(
      rows,
      ( Log{ "Sample::Box.size KelBox.handleSize s", "Sample::Box.size KelSecond.handleSecond s",
             "World.day KelWorld.handleDay s", "Sample::Box.size KelFound.handleFoundSize s",
             "Sample::Box.item KelFound.handleFoundItem k" } ) );
}

}  // namespace
