#include <gtest/gtest.h>

#include "Sample.h"
#include "platform/kel/Exceptions.h"

namespace {

using namespace Sample;
using Kel::Ptr, Kel::String, Kel::Value;

/** Keyed by a number, and held by an entity that extends another. */
class Slot : public Kel::KeyedEntity< int > {
   KEL_ENTITY_OF( Slot, Kel::KeyedEntity< int > )
   KEL_KEY( int, number )
   KEL_SCALAR( int, level )
};
class Rack : public Shelf {
   KEL_ENTITY_OF( Rack, Shelf )
   KEL_CHILDREN( int, Slot, slot )
   KEL_SCALAR( bool, locked )
};

/** Watches a directory, a shelf's boxes and an attribute of a class that extends the shelf. */
class LibrarianSm : public Kel::StateMachine {
   KEL_LOCAL_STATE_MACHINE( LibrarianSm )
   KEL_REACTOR( KelDir, Kel::Dir, dir, KEL_ON( entity, handleEntity ) )
   KEL_REACTOR( KelRack, Rack, rack,
                KEL_ROWS( KEL_ON( box, handleBox )
                          KEL_ON( best, handleBest )
                          KEL_ON( locked, handleLocked ) ) )
   KEL_GIVEN( Script *, script )
   void handleEntity( String const & name ) { script()->event( "entity " + name.stringValue() ); }
   void handleBox( String const & name ) { script()->event( "box " + name.stringValue() ); }
   void handleBest() { script()->event( "best" ); }
   void handleLocked() { script()->event( "locked" ); }
};

class EntityTest : public testing::Test {
 protected:
   void TearDown() override {
      machine = nullptr;
      rack = nullptr;
      dir = nullptr;
      EXPECT_EQ( Box::alive, 0 );
   }
   Script script;
   Ptr< Kel::Dir > dir{ new Kel::Dir( "dir" ) };
   Ptr< Rack > rack{ new Rack( "rack" ) };
   Ptr< LibrarianSm > machine = Kel::create< LibrarianSm >( dir, rack, &script );
};

TEST_F( EntityTest, ChildEntitiesAreMadeOnceAndKnowTheirPlace ) {
   Ptr< Box > a = rack->boxIs( "a" );
   EXPECT_EQ( rack->boxIs( "a" ), a );
   EXPECT_EQ( script.take(), Log{ "box a" } );
   EXPECT_EQ( a->parent(), rack.ptr() );
   EXPECT_STREQ( a->parentAttrName(), "box" );
   EXPECT_EQ( a->fullName(), "rack/box/a" );
   EXPECT_EQ( rack->slotIs( -3 )->fullName(), "rack/slot/-3" );
   EXPECT_EQ( rack->slot( -3 )->number(), -3 );
   // It loses its place before it is told of; whoever holds it keeps it.
   script.on["box a"] = [&] {
      EXPECT_FALSE( rack->boxHas( "a" ) || a->parent() );
      EXPECT_EQ( a->fullName(), "a" );
   };
   EXPECT_TRUE( rack->boxDel( "a" ) );
   EXPECT_FALSE( rack->boxDel( "a" ) );
   EXPECT_EQ( script.take(), Log{ "box a" } );
   EXPECT_EQ( Box::alive, 1 );

   // One that its announcement deletes is returned all the same.
   script.on = { { "box b", [&] { rack->boxDel( "b" ); } } };
   Ptr< Box > b = rack->boxIs( "b" );
   EXPECT_EQ( b->name(), "b" );
   EXPECT_FALSE( rack->boxHas( "b" ) );
   EXPECT_EQ( rack->boxIs( "box" )->fullName(), "rack/box/box" );
   // So is one whose whole family goes.
   script.on = { { "box c", [&] {
                     machine->rackDel();
                     rack = nullptr;
                  } } };
   Ptr< Box > c = rack->boxIs( "c" );
   EXPECT_EQ( c->name(), "c" );
   EXPECT_FALSE( c->parent() );
}

TEST_F( EntityTest, OrderedChildrenAreWalkedByKey ) {
   for ( char const * name : { "b", "c", "a" } ) {
      rack->sortedIs( name );
      rack->boxIs( name );
   }
   std::string order;
   for ( auto const & [name, box] : rack->sorted() ) {
      order += name.stringValue();
      rack->sortedDel( "b" );
   }
   for ( String const & name : rack->boxKeys() ) {
      order += name.stringValue();
   }
   EXPECT_EQ( order, "acbca" );
   rack->sortedDelAll();
   EXPECT_EQ( rack->sortedCount(), 0u );
}

TEST_F( EntityTest, AReferenceHoldsOneEntityOrNone ) {
   Ptr< Box > best = rack->bestIs( "best" );
   EXPECT_EQ( best->fullName(), "rack/best" );
   EXPECT_EQ( rack->bestIs( "another" ), best );
   rack->bestIs( best );
   EXPECT_EQ( script.take(), Log{ "best" } );
   Ptr< Box > other = newBox( "other" );
   rack->bestIs( other );
   EXPECT_FALSE( best->parent() );
   EXPECT_EQ( other->fullName(), "rack/best" );
   rack->bestDel();
   rack->bestDel();
   EXPECT_EQ( script.take(), ( Log{ "best", "best" } ) );
   // The owner may go while the entity is announced; the caller gets it.
   script.on["best"] = [&] {
      machine->rackDel();
      rack = nullptr;
   };
   Ptr< Box > last = rack->bestIs( "last" );
   EXPECT_EQ( last->name(), "last" );
}

TEST_F( EntityTest, ADirectoryMakesEntitiesOfRegisteredTypesByName ) {
   Ptr< Kel::Entity > made = dir->createEntity( "Sample::Box", "one", []( Kel::Entity & fresh ) {
      static_cast< Box & >( fresh ).sizeIs( 8 );
   } );
   EXPECT_EQ( script.take(), Log{ "entity one" } );
   EXPECT_EQ( Kel::ptrCast< Box >( made )->size(), 8 );
   EXPECT_FALSE( Kel::ptrCast< Shelf >( made ) );
   EXPECT_EQ( made->fullName(), "dir/entity/one" );
   EXPECT_EQ( dir->createEntity( "Sample::Shelf", "one" ), made ) << "what stands stays";
   EXPECT_THROW( dir->createEntity( "Sample::None", "one" ), Kel::NoTypeNodeException );
   // A type that is not there, and one that is not made by name.
   for ( char const * type : { "Sample::Crate", "Slot" } ) {
      try {
         dir->createEntity( type, "two" );
         ADD_FAILURE() << type;
      } catch ( Kel::NoTypeNodeException const & e ) {
         EXPECT_NE( std::string( e.what() ).find( type ), std::string::npos );
      }
   }
   EXPECT_EQ( script.take(), Log{} );
   dir->createEntity( "Sample::Shelf", "two" );
   std::string order;
   for ( auto const & [name, entity] : dir->entity() ) {
      order += name.stringValue() + " ";
      dir->deleteEntity( name );
      dir->deleteEntity( name );
   }
   EXPECT_EQ( order, "one two " );
   EXPECT_EQ( script.take(), ( Log{ "entity two", "entity one", "entity two" } ) );
   EXPECT_FALSE( dir->entity( "one" ) || made->parent() );
   // Members outlive a directory that goes, without a place.
   Ptr< Kel::Entity > kept = dir->createEntity( "Sample::Box", "kept" );
   machine = nullptr;
   dir = nullptr;
   EXPECT_FALSE( kept->parent() );
}

TEST_F( EntityTest, ThereIsOneSingletonOfAType ) {
   EXPECT_FALSE( Kel::Entity::singletonExists( "Sample::Shelf" ) );
   Ptr< Shelf > one = Kel::singletonOf< Shelf >( "shelf" );
   EXPECT_EQ( Kel::singletonOf< Shelf >( "other name" ), one );
   EXPECT_EQ( Kel::Entity::singletonExists( "Sample::Shelf" ), one );
   EXPECT_EQ( Kel::Entity::singletonIs( Shelf::kelType(), "x" ), one );
   Kel::Entity::singletonsDel();
   EXPECT_FALSE( Kel::Entity::singletonExists( "Sample::Shelf" ) );
   EXPECT_NE( Kel::singletonOf< Shelf >( "shelf" ), one );
   Kel::Entity::singletonsDel();
}

TEST_F( EntityTest, TheTypeRecordListsReadsAndWritesEveryAttribute ) {
   Kel::TypeRecord const & type = *Kel::typeNode( "Rack" );
   EXPECT_EQ( &type, &rack->fwkType() );
   EXPECT_EQ( Kel::typeNode( "Sample::Crate" ), nullptr );
   std::string list;
   for ( auto const & attribute : type.attributes() ) {
      EXPECT_EQ( type.attribute( attribute->name() ), attribute.get() );
      list += std::to_string( attribute->id() ) + attribute->name() + " ";
   }
   EXPECT_EQ( list, "0box 1sorted 2best 3slot 4locked " );
   EXPECT_EQ( type.attribute( "lock" ), nullptr );

   // Everything below goes through one ordinary mutator call.
   auto const & locked = *type.attribute( "locked" );
   EXPECT_EQ( locked.kind(), Kel::AttributeKind::Scalar );
   EXPECT_EQ( locked.read( *rack, "" ), std::nullopt );
   locked.write( *rack, "", true );
   EXPECT_EQ( locked.read( *rack, "" ), Value( true ) );
   locked.write( *rack, "", Value() );
   EXPECT_FALSE( rack->locked() );
   EXPECT_EQ( script.take(), ( Log{ "locked", "locked" } ) );
   EXPECT_THROW( locked.check( "", std::uint64_t{ 1 } ), Kel::ValueError );

   auto const & boxes = *type.attribute( "box" );
   EXPECT_EQ( boxes.elementType(), &Box::kelType() );
   script.on["box x"] = [&] { EXPECT_TRUE( !rack->box( "x" ) || rack->box( "x" )->size() == 2 ); };
   auto prepare = []( Kel::Entity & fresh ) { static_cast< Box & >( fresh ).sizeIs( 2 ); };
   Ptr< Kel::Entity > x = boxes.childIs( *rack, "x", nullptr, prepare );
   EXPECT_EQ( boxes.childIs( *rack, "x", nullptr, prepare ), x );
   EXPECT_EQ( boxes.child( *rack, "x" ), x );
   EXPECT_EQ( boxes.keys( *rack ), Log{ "x" } );
   EXPECT_EQ( boxes.keyText( &static_cast< Box & >( *x ).kelKey() ), "x" );
   boxes.childDel( *rack, "x" );
   EXPECT_FALSE( boxes.child( *rack, "x" ) );
   EXPECT_EQ( script.take(), ( Log{ "box x", "box x" } ) );

   auto const & best = *type.attribute( "best" );
   Ptr< Kel::Entity > made = best.childIs( *rack, "", nullptr, prepare );
   EXPECT_EQ( best.child( *rack, "" ), made );
   EXPECT_EQ( rack->best()->size(), 2 );
   EXPECT_EQ( rack->best()->fullName(), "rack/best" );
   best.childDel( *rack, "" );
   EXPECT_FALSE( rack->best() );
   EXPECT_THROW( type.attribute( "slot" )->checkKey( "007" ), Kel::ValueError );

   auto const & entity = *dir->fwkType().attribute( "entity" );
   EXPECT_EQ( entity.kind(), Kel::AttributeKind::Directory );
   EXPECT_EQ( entity.elementType(), nullptr );
   entity.childIs( *dir, "y", &Box::kelType(), prepare );
   EXPECT_EQ( entity.keys( *dir ), Log{ "y" } );
   entity.childDel( *dir, "y" );
   EXPECT_EQ( dir->entityCount(), 0u );
}

TEST_F( EntityTest, MapsAreReadAndWrittenInNeutralForm ) {
   Ptr< Box > box = newBox();
   auto const & price = *Box::kelType().attribute( "price" );
   // The field that repeats the key is filled in, and must not name another.
   price.write( *box, "EUR", Value::Object{ { "amount", std::uint64_t{ 5 } } } );
   EXPECT_EQ( box->price( "EUR" ), ( Price{ "EUR", 5 } ) );
   EXPECT_THROW( price.check( "EUR", Value::Object{ { "currency", "USD" } } ), Kel::ValueError );
   price.write( *box, "EUR", Value::Object{ { "currency", "EUR" } } );
   EXPECT_EQ( price.read( *box, "EUR" ),
              Value( Value::Object{ { "currency", "EUR" }, { "amount", std::uint64_t{ 5 } } } ) );
   price.write( *box, "EUR", Value() );
   EXPECT_EQ( price.read( *box, "EUR" ), std::nullopt );
   auto const & item = *Box::kelType().attribute( "item" );
   item.write( *box, "-7", std::uint64_t{ 3 } );
   EXPECT_EQ( box->item( -7 ), 3 );
   EXPECT_EQ( item.keys( *box ), Log{ "-7" } );
   EXPECT_EQ( item.kind(), Kel::AttributeKind::Map );
}

TEST_F( EntityTest, AChangeSinkSeesEveryChangeBeforeTheReactors ) {
   struct Sink : Kel::ChangeSink {
      explicit Sink( Script & to ) : script( to ) { Kel::Notifier::changeSinkIs( this ); }
      ~Sink() override { Kel::Notifier::changeSinkIs( nullptr ); }
      void changed( Kel::Notifier const & notifier, Kel::AttributeId id,
                    void const * key ) override {
         auto const & attribute = *notifier.fwkType().attributes()[id];
         script.event( std::string( "sink " ) + attribute.name() + " " + attribute.keyText( key ) );
      }
      Script & script;
   } sink( script );
   rack->boxIs( "a" )->itemIs( 3, 3 );
   rack->lockedIs( false );
   rack->lockedIs( true );
   EXPECT_EQ( script.take(),
              ( Log{ "sink box a", "box a", "sink item 3", "sink locked ", "locked" } ) );
}

}  // namespace
