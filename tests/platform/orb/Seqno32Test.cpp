#include "platform/orb/Seqno32.h"

#include <gtest/gtest.h>

namespace {

using Orb::Seqno32;

TEST( Seqno32, ordersAcrossTheWrap ) {
   struct {
      std::uint32_t lower, higher;
   } const pairs[] = { { 0, 1 },          { 0xffffffff, 0 }, { 0xfffffff0, 0x10 },
                       { 1, 0x80000000 }, { 0x80000001, 0 }, { 0x7fffffff, 0x80000000 } };
   for ( auto const & [lower, higher] : pairs ) {
      EXPECT_TRUE( Seqno32( lower ) < Seqno32( higher ) ) << lower << " " << higher;
      EXPECT_FALSE( Seqno32( higher ) < Seqno32( lower ) ) << lower << " " << higher;
   }
   Seqno32 const zero, opposite( 0x80000000 );
   EXPECT_FALSE( zero < zero || zero < opposite || opposite < zero || zero == opposite );
}

}  // namespace
