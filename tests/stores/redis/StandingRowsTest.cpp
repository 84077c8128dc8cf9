#include "stores/redis/StandingRows.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vector>

namespace Redis {
namespace {

using testing::UnorderedElementsAre;

// A row goes with all that is below it, and with nothing whose path merely begins alike.
TEST( StandingRowsTest, ARowGoesWithWhatIsBelowIt ) {
   StandingRows rows;
   for ( char const * path : { "a/f", "a/f/x", "a/f/x/y", "a/f/z", "a/f-1", "a/f-1/x", "a/f0",
                               "a/g", "a/g/x", "root" } ) {
      EXPECT_TRUE(
         rows.add( path, { 0, rows.contains( "a/f" ), Corestore::RowForm::entity } ).second );
   }
   auto const [known, isNew] = rows.add( "a/f", { 0, 9, Corestore::RowForm::entity } );
   EXPECT_FALSE( isNew );
   EXPECT_EQ( known.position(), 0U );

   auto const paths = [&]( auto const & walk ) {
      std::vector< std::string > seen;
      walk( [&seen]( std::string const & path, Standing const & ) { seen.push_back( path ); } );
      return seen;
   };
   EXPECT_THAT( paths( [&]( auto const & visit ) { rows.forEachBelow( "a/f", visit ); } ),
                UnorderedElementsAre( "a/f/x", "a/f/x/y", "a/f/z" ) );
   EXPECT_THAT( paths( [&]( auto const & visit ) { rows.take( "a/f", visit ); } ),
                UnorderedElementsAre( "a/f", "a/f/x", "a/f/x/y", "a/f/z" ) );
   rows.erase( "a/g" );
   rows.erase( "a/nothing" );
   EXPECT_THAT( paths( [&]( auto const & visit ) { rows.forEachBelow( "a", visit ); } ),
                UnorderedElementsAre( "a/f-1", "a/f-1/x", "a/f0", "a/g/x" ) );
   EXPECT_TRUE( rows.contains( "root" ) );
   EXPECT_FALSE( rows.contains( "a/f/x" ) );
}

// Of many in one place, those that stay are found whoever goes.
TEST( StandingRowsTest, ManyRowsComeAndGo ) {
   StandingRows rows;
   auto const pathOf = []( std::uint64_t n ) { return "a/f/row" + std::to_string( n ); };
   constexpr std::uint64_t many = 5000;
   for ( std::uint64_t n = 0; n != many; ++n ) {
      rows.add( pathOf( n ), { n, n + 1, Corestore::RowForm::record } );
   }
   for ( std::uint64_t n = 0; n != many; ++n ) {
      if ( n % 50 != 0 ) {
         rows.erase( pathOf( n ) );
      }
   }
   for ( std::uint64_t n = 0; n != many; ++n ) {
      Standing const * const row = rows.find( pathOf( n ) );
      ASSERT_EQ( row != nullptr, n % 50 == 0 ) << n;
      EXPECT_TRUE( !row || ( row->fingerprint() == n && row->position() == n + 1 &&
                             row->form() == Corestore::RowForm::record ) );
   }
}

}  // namespace
}  // namespace Redis
