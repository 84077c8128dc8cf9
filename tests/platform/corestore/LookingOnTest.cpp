#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "platform/corestore/EntityManager.h"
#include "platform/corestore/ValueText.h"
#include "platform/kel/Sample.h"

namespace {

using Sample::Box, Sample::Shelf, Sample::Log;

using Corestore::Row, Corestore::RowChange, Corestore::RowForm, Corestore::parseJson;

/** A store through which others change the state. */
class SharedStore final : public Corestore::Store {
 public:
   Takes takes() const override { return taking; }
   void load( std::function< void( Row const & ) > const & row ) override {
      row(
         { "there/shelf/box/a~1b", RowForm::entity, parseJson( R"({"size":9,"label":"old"})" ) } );
   }
   void put( Row const & row ) override {
      written.push_back( row.path + " = " + Corestore::jsonLine( row.value ) );
   }
   void del( std::string const & path ) override { written.push_back( path + " gone" ); }
   void flush() override { written.push_back( "." ); }
   void holderIs( Corestore::RowHolder * of ) override { holder = of; }
   void refused( RowChange const & change, Kel::ValueError const & reason ) override {
      written.push_back( "refused " + change.row.path + " " + reason.pointer() + ": " +
                         reason.what() );
   }
   Takes taking = Takes::now;
   Corestore::RowHolder * holder = nullptr;
   Log written;
};

RowChange there( char const * below, char const * value ) {
   return { { std::string( "there/" ) + below, RowForm::none, parseJson( value ) } };
}
RowChange gone( char const * below ) {
   return { { std::string( "there/" ) + below, RowForm::none, {} }, true };
}

void checkName( std::string_view name ) {
   if ( name == "bad" ) {
      throw Kel::ValueError( "is a bad name" );
   }
}

class LookingOnTest : public testing::Test {
 protected:
   Corestore::ChangeObserver observer( char const * name ) {
      return { *em, [this, name]( Corestore::Change const & change ) {
                 std::string const line =
                    std::string( name ) + ' ' + change.attribute.name() + " by " +
                    ( change.writer.empty() ? "?" : std::string( change.writer ) );
                 script.event( line );
              } };
   }
   Sample::Script script;
   SharedStore store;
   Kel::Ptr< Orb::TaskScheduler > const scheduler{
      new Orb::TaskScheduler( std::make_unique< Orb::VirtualTime >() ) };
   Kel::Ptr< Corestore::EntityManager > const em{ new Corestore::EntityManager( scheduler ) };
   Kel::Ptr< Shelf > const shelf =
      Kel::ptrCast< Shelf >( em->entityIs( "there/shelf", "Sample::Shelf" ) );
   Kel::Ptr< Kel::Dir > const dir = Kel::ptrCast< Kel::Dir >(
      em->entityIs( "there/dir", "Kel::Dir", { &Box::kelType(), &checkName } ) );
   Kel::Ptr< Box > const books =
      Kel::ptrCast< Box >( em->entityIs( "there/books", "Sample::Box", { .isBook = true } ) );
   Kel::Ptr< Box > box;

   LookingOnTest() {
      em->storeIs( &store );
      box = shelf->box( "a/b" );
   }
   Log save() {
      em->save();
      return std::exchange( store.written, {} );
   }
   /** What others have changed, with what follows: what was written of it, and refused. */
   Log arrive( std::vector< RowChange > changes ) {
      store.holder->arrived( std::move( changes ) );
      scheduler->runReady();
      return save();
   }
};

TEST_F( LookingOnTest, SeveralSeeEachChangeAndWhoseItIs ) {
   std::optional< Corestore::ChangeObserver > first;
   first.emplace( *em, [this]( Corestore::Change const & ) { script.event( "first" ); } );
   auto const second = observer( "second" );
   script.on["first"] = [&] { first.reset(); };
   // What a change sets off is not its writer's.
   script.on["second size by someone"] = [&] { box->labelIs( "set off" ); };
   em->byHand( "someone", [&] { box->sizeIs( 1 ); } );
   box->sizeIs( 2 );
   EXPECT_EQ( script.take(), ( Log{ "first", "second size by someone", "second label by ?",
                                    "second size by ?" } ) );
}

TEST_F( LookingOnTest, WhatOthersChangeIsATurnAndIsNotWrittenBack ) {
   auto const seen = observer( "seen" );
   int turns = 0;
   scheduler->turnEndIs( [&] { ++turns; } );
   script.on["seen size by others"] = [&] { box->itemIs( 7, 7 ); };
   // The label is lost; a box that comes is announced whole.
   store.holder->arrived( { there( "shelf/box/a~1b", R"({"size":7})" ),
                            there( "shelf/box/a~1b/item/3", "4" ), gone( "shelf/box/a~1b/item/3" ),
                            there( "shelf/box/d", R"({"@type":"Sample::Box","size":1})" ),
                            gone( "shelf/box/a~1b" ), gone( "shelf/box/a~1b/item/3" ),
                            gone( "shelf/box/a~1b" ), there( "books", R"({"size":1,"label":"x"})" ),
                            there( "books", R"({"size":1,"label":"x"})" ), gone( "books" ) } );
   EXPECT_EQ( script.take(), Log{} ) << "not before its turn";
   scheduler->runReady();
   EXPECT_EQ( turns, 1 );
   EXPECT_EQ( script.take(),
              ( Log{ "seen size by others", "seen item by ?", "seen label by others",
                     "seen item by others", "seen item by others", "seen box by others",
                     "seen box by others", "seen size by others", "seen label by others",
                     "seen size by others", "seen label by others" } ) );
   EXPECT_EQ( box->size(), 7 );
   EXPECT_EQ( box->label(), "" );
   EXPECT_FALSE( shelf->box( "a/b" ) );
   EXPECT_EQ( shelf->box( "d" )->size(), 1 );
   EXPECT_EQ( save(), Log{ "." } );
   EXPECT_EQ( arrive( { there( "shelf/box/d", R"({"size":2})" ) } ), Log{ "." } );
}

TEST_F( LookingOnTest, ARowIsAllThatItStandsFor ) {
   Log const refused = arrive( {
      there( "shelf/box/a~1b/price/EUR", R"({"amount":3})" ),
      there( "shelf/box/a~1b/price/EUR", R"({"currency":"EUR"})" ),
      there( "dir/one", R"({"size":1})" ),
      there( "dir/two", R"({"@type":"Sample::Box"})" ),
      there( "shelf/best", R"({"label":"best"})" ),
      // What does not fit changes nothing, and tells where.
      there( "shelf/box/a~1b", R"({"label":"new","size":"much"})" ),
      there( "shelf/box/a~1b", R"({"label":"new","item":{}})" ),
      there( "shelf/box/a~1b", R"({"label":"new","height":1})" ),
      there( "shelf/box/a~1b", "7" ),
      there( "shelf/box/a~1b/price/EUR", R"({"currency":"USD"})" ),
      there( "shelf/box/a~1b/price/EUR", "null" ),
      there( "shelf/box/a~1b/item/x", "1" ),
      there( "shelf/box/a~1b/size", "1" ),
      there( "shelf/box/c/item/1", "1" ),
      there( "dir/three", R"({"@type":"Sample::Shelf"})" ),
      there( "dir/bad", "{}" ),
      there( "elsewhere", "{}" ),
      // A new entity is better without one of its members than not at all.
      there( "shelf/box/d", R"({"label":"new","height":1})" ),
   } );
   EXPECT_EQ( shelf->box( "d" )->label(), "new" );
   EXPECT_EQ( box->price( "EUR" ), ( Sample::Price{ "EUR", 0 } ) );
   EXPECT_EQ( dir->entityCount(), 2U );
   EXPECT_EQ( Kel::ptrCast< Box >( dir->entity( "one" ) )->size(), 1 );
   EXPECT_EQ( shelf->best()->label(), "best" );
   EXPECT_EQ( box->label(), "old" );
   std::string const price = "refused there/shelf/box/a~1b/price/EUR ";
   EXPECT_EQ(
      refused,
      ( Log{ "refused there/shelf/box/a~1b /size: wants a whole number, -2147483648 to "
             "2147483647, not a text",
             "refused there/shelf/box/a~1b /item: is no member of its entity's row, but "
             "has rows of its own",
             "refused there/shelf/box/a~1b /height: unknown attribute height",
             "refused there/shelf/box/a~1b : wants an object, not a number",
             price + ": repeats another key than its own", price + ": wants an object, not null",
             "refused there/shelf/box/a~1b/item/x : wants a whole number, -2147483648 to "
             "2147483647, not \"x\"",
             "refused there/shelf/box/a~1b/size : is no row, but a member of its entity's",
             "refused there/shelf/box/c/item/1 : stands without its entity",
             "refused there/dir/three /@type: wants type Sample::Box, not Sample::Shelf",
             "refused there/dir/bad : is a bad name",
             "refused there/elsewhere : stands without its entity",
             "refused there/shelf/box/d /height: unknown attribute height", "." } ) );
}

TEST_F( LookingOnTest, ARowIsWrittenOnceAsItStands ) {
   box->sizeIs( 2 );
   box->labelIs( "" );
   box->itemIs( 2, 1 );
   box->itemIs( 1, 1 );
   box->itemIs( 1, 2 );
   box->itemDel( 2 );
   box->itemIs( 2, 3 );
   auto const fresh = shelf->boxIs( "fresh" );
   fresh->itemIs( 5, 5 );
   dir->createEntity( "Sample::Box", "one" );
   shelf->sortedIs( "s" );
   shelf->sortedDel( "s" );
   books->sizeIs( 1 );
   store.taking = Corestore::Store::Takes::later;
   EXPECT_EQ( save(), Log{} );
   store.taking = Corestore::Store::Takes::now;
   EXPECT_EQ(
      save(),
      ( Log{ R"(there/shelf/box/a~1b = {"size":2})", "there/shelf/box/a~1b/item/1 = 2",
             "there/shelf/box/a~1b/item/2 gone", "there/shelf/box/a~1b/item/2 = 3",
             R"(there/shelf/box/fresh = {"@type":"Sample::Box"})",
             "there/shelf/box/fresh/item/5 = 5", R"(there/dir/one = {"@type":"Sample::Box"})",
             "there/shelf/sorted/s gone", R"(there/books = {"size":1})", "." } ) );
   // A root is not taken out, which would take what is below it too.
   books->sizeIs( 0 );
   EXPECT_EQ( save(), ( Log{ "there/books = {}", "." } ) );
   books->sizeIs( 1 );
   store.taking = Corestore::Store::Takes::all;
   EXPECT_EQ( save(), Log{} );
   store.taking = Corestore::Store::Takes::now;
   EXPECT_EQ( save(), Log{ "." } );
}

TEST_F( LookingOnTest, TypesAloneTellWhatMayStand ) {
   auto const form = [this]( char const * below ) {
      return store.holder->formOf( std::string( "there/" ) + below );
   };
   for ( char const * entity : { "shelf", "shelf/box/none", "shelf/best", "dir/none", "books" } ) {
      EXPECT_EQ( form( entity ), RowForm::entity ) << entity;
   }
   for ( char const * none :
         { "", "elsewhere", "shelf/box", "shelf/box/x/size", "shelf/best/y", "shelf/box/x/item",
           "shelf/box/x/item/y", "shelf/box/x/item/1/2", "dir/bad", "dir/x/y" } ) {
      EXPECT_EQ( form( none ), RowForm::none ) << none;
   }
   EXPECT_EQ( form( "shelf/box/none/item/1" ), RowForm::value );
   EXPECT_EQ( form( "dir/none/price/EUR" ), RowForm::record );
   EXPECT_EQ( form( "books/price/EUR" ), RowForm::book );
   EXPECT_EQ( form( "books/item" ), RowForm::bookMap );
}

}  // namespace
