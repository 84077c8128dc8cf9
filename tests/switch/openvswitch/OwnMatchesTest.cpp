#include "switch/openvswitch/OwnMatches.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace OpenVSwitch {

namespace {

using Places = std::vector< OwnMatches::Place >;

// Whoever finds one of several taken has none of them, and all of them once that one is free.
TEST( OwnMatchesTest, AllOrNone ) {
   OwnMatches matches;
   Places const several{ 1, 2, 2, 3 };
   EXPECT_EQ( matches.claim( 10, Places{ 3 } ), 0U );
   EXPECT_EQ( matches.claim( 11, several ), 10U );
   matches.await( 11, several );
   EXPECT_EQ( matches.claim( 12, Places{ 2, 1 } ), 0U );
   EXPECT_THAT( matches.release( 3 ), testing::ElementsAre( 11 ) );
   EXPECT_EQ( matches.claim( 11, several ), 12U );
   EXPECT_THAT( matches.release( 2 ), testing::Each( 11 ) );
   EXPECT_EQ( matches.claim( 11, several ), 0U );
   EXPECT_EQ( matches.claim( 13, Places{ 2 } ), 11U );
}

}  // namespace

}  // namespace OpenVSwitch
