#include "switch/openflow/Match.h"

#include <gtest/gtest.h>

#include "switch/openflow/Frames.h"

namespace OpenFlow {

namespace {

Wirekit::EthAddr const mac = *Wirekit::EthAddr::parse( "02:00:00:00:00:01" );

Match decoded( std::string const & bytes ) {
   Reader in( bytes );
   Match match = Match::decode( in );
   EXPECT_TRUE( in.isEmpty() );
   return match;
}

TEST( MatchTest, HasOneFormHoweverItWasMade ) {
   Match const match = Match().ip4().inPort( 1 ).reg( 3, 1 ).ethSrc( mac ).tunId( 9 );
   EXPECT_EQ( match, Match().tunId( 9 ).ethSrc( mac ).inPort( 7 ).reg( 3, 1 ).inPort( 1 ).ip4() );
   EXPECT_EQ( match.hash(), Match().reg( 3, 1 ).tunId( 9 ).ip4().ethSrc( mac ).inPort( 1 ).hash() );
   EXPECT_NE( match, Match( match ).reg( 3, 2 ) );
   EXPECT_NE( match, Match( match ).reg( 2, 1 ) );
   EXPECT_EQ( decoded( encoded( match ) ), match );

   // No bits beside the mask, no mask where all count, no field where none does.
   EXPECT_EQ( Match().reg( 0, 0xff, 0x0f ), Match().reg( 0, 0x0f, 0x0f ) );
   EXPECT_EQ( Match().reg( 0, 5, ~0U ), Match().reg( 0, 5 ) );
   EXPECT_TRUE( Match().reg( 0, 5 ).reg( 0, 5, 0 ).isAny() );
   EXPECT_EQ( Match().number( Fields::vlanVid, 0xf064, 0xffff ), Match().vlan( 100 ) );
   EXPECT_EQ( Match().number( Fields::vlanVid, 0, 0x1fff ), Match().untagged() );
   EXPECT_NE( Match().untagged(), Match().priorityTagged() );
}

// In the order in which a switch gives them: those of its own last, and the kind of a frame that
// needn't be said.
TEST( MatchTest, IsTakenAsASwitchGivesIt ) {
   EXPECT_EQ( encoded( Match().inPort( 5 ).vlan( 100 ) ),
              hex( "0001 0012 80000004 00000005 80000c02 1064 000000000000" ) );
   EXPECT_EQ( decoded( hex( "0001 0028 80005804 00000000 80000004 00000005 80000d04 0064 0fff"
                            "00010708 00000001 000000ff" ) ),
              Match().inPort( 5 ).number( Fields::vlanVid, 100, 0xfff ).reg( 3, 1, 0xff ) );
   // A mask that says nothing more than none, and one that says nothing.
   EXPECT_EQ( decoded( hex( "0001 000c 80000d04 1064 1fff 00000000" ) ), Match().vlan( 100 ) );
   EXPECT_TRUE( decoded( hex( "0001 0010 00010708 00000000 00000000" ) ).isAny() );
   // What isn't known here is kept, and goes out again.
   std::string const foreign = hex( "0001 0016 80000004 00000005 ffff0206 00004f4e 1234 0000" );
   EXPECT_EQ( encoded( decoded( foreign ) ), foreign );
   EXPECT_NE( decoded( foreign ), Match().inPort( 5 ) );
}

TEST( MatchTest, SaysWhatItIsFor ) {
   Match const match = Match().vlan( 100 ).ethDst( mac ).reg( 3, 1, 0xff );
   EXPECT_EQ( match.vlanId(), 100 );
   EXPECT_EQ( match.ethDst(), mac );
   EXPECT_FALSE( match.ethSrc() );
   EXPECT_EQ( match.number( Fields::reg( 3 ) ), ( Match::Masked{ 1, 0xff } ) );
   EXPECT_FALSE( match.number( Fields::reg( 2 ) ) );
   EXPECT_EQ( Match().number( Fields::vlanVid, 100, 0xfff ).vlanId(), 100 );
   for ( Match const & none : { Match(), Match().untagged(), Match().tagged() } ) {
      EXPECT_FALSE( none.vlanId() );
   }
   EXPECT_FALSE( Match().ethDst( mac, *Wirekit::EthAddr::parse( "ff:00:00:00:00:00" ) ).ethDst() );
   EXPECT_EQ( match.text(), "dl_dst=02:00:00:00:00:01,dl_vlan=100,reg3=0x1/0xff" );
}

TEST( MatchTest, IsRefusedWhereItIsDamaged ) {
   for ( char const * const bytes : {
            "", "0001",
            "0000 0004 00000000",                    // another kind
            "0001 0003 00000000",                    // shorter than its own beginning
            "0001 0040 80000004 00000005",           // cut short
            "0001 000a 80000004 0000 000000000000",  // cut short in a field
            "0001 0008 80000000",                    // a field of nothing
            "0001 000b 80000d03 106400 0000000000",  // a mask of half a byte
            "0001 0014 80000004 00000005 80000004 00000006 00000000",  // twice
            "0001 000c 80000004 00000005",                             // not filled up
         } ) {
      std::string const damaged = hex( bytes );
      Reader in( damaged );
      EXPECT_THROW( Match::decode( in ), DecodeError ) << bytes;
   }
}

TEST( MatchDeathTest, WantsWhatAFieldNeeds ) {
   EXPECT_DEATH( Match().ip4Src( {} ), "ethType" );
   EXPECT_DEATH( Match().ip4().ip6Dst( {} ), "ethType" );
   EXPECT_DEATH( Match().arp().ipProtocol( 6 ), "type" );
   EXPECT_DEATH( Match().ip4().ipProtocol( 1 ).l4DstPort( 5 ), "protocol" );
}

}  // namespace

}  // namespace OpenFlow
