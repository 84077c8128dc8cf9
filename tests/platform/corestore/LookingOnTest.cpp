#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "platform/corestore/EntityManager.h"
#include "platform/kel/Sample.h"

namespace {

using Sample::Box, Sample::Shelf, Sample::Log;

/** A store through which others change the state. */
class SharedStore final : public Corestore::Store {
 public:
   void load( std::function< void( Corestore::Row const & ) > const & row ) override {
      row( { "", "", "there/shelf", "Sample::Shelf" } );
      row( { "there/shelf", "box", "a/b", "\"Sample::Box\"" } );
   }
   void put( Corestore::Row const & row ) override {
      written.push_back( row.path + " " + row.attribute + "[" + row.key + "] = " + row.value );
   }
   void del( std::string const & path, std::string const & attribute,
             std::string const & key ) override {
      written.push_back( path + " " + attribute + "[" + key + "]" );
   }
   void flush() override {}
   void arrivalsTo( Arrivals to ) override { arrivals = std::move( to ); }
   void refused( Corestore::RowChange const & change, std::string const & reason ) override {
      written.push_back( "refused " + change.row.path + ": " + reason );
   }
   Arrivals arrivals;
   Log written;
};

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
   Kel::Ptr< Corestore::EntityManager > const em{
      new Corestore::EntityManager( scheduler, &store ) };
   Kel::Ptr< Shelf > const shelf = Kel::ptrCast< Shelf >( em->standing( "there/shelf" ) );
   Kel::Ptr< Box > const box = shelf->box( "a/b" );
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
   scheduler->turnEndIs( [&] {
      ++turns;
      em->save();
   } );
   script.on["seen size by others"] = [&] { box->labelIs( "set off" ); };
   std::string const path = "there/shelf/box/a~1b";
   store.arrivals( { { { path, "size", "", "7" } },
                     { { path, "item", "3", "4" } },
                     { { path, "size", "", "\"much\"" } },
                     { { path, "height", "", "1" } },
                     { { "there/shelf/box/c", "size", "", "1" } },
                     { { "elsewhere", "size", "", "1" } },
                     { { path, "item", "3", "" }, true },
                     { { "there/shelf", "box", "d", "\"Sample::Box\"" } },
                     { { "there/shelf", "box", "a/b", "" }, true },
                     { { "there/shelf", "box", "a/b", "" }, true } } );
   EXPECT_EQ( script.take(), Log{} ) << "not before its turn";
   scheduler->runReady();
   EXPECT_EQ( turns, 1 );
   EXPECT_EQ( script.take(),
              ( Log{ "seen size by others", "seen label by ?", "seen item by others",
                     "seen item by others", "seen box by others", "seen box by others" } ) );
   EXPECT_EQ( box->size(), 7 );
   EXPECT_FALSE( shelf->box( "a/b" ) );
   EXPECT_TRUE( shelf->box( "d" ) );
   EXPECT_EQ(
      store.written,
      ( Log{ "refused " + path + ": wants a whole number, -2147483648 to 2147483647, not a text",
             "refused " + path + ": unknown attribute height",
             "refused there/shelf/box/c: stands without its entity",
             "refused elsewhere: stands without its entity" } ) );
}

}  // namespace
