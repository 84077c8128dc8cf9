#include "switch/openflow/Actions.h"

#include <gtest/gtest.h>

#include "switch/openflow/Frames.h"

namespace OpenFlow {

namespace {

Actions decoded( std::string const & bytes ) {
   Reader in( bytes );
   return Actions::decode( in );
}

TEST( ActionsTest, StandAsTheSwitchTakesThem ) {
   EXPECT_EQ( encoded( Actions() ), "" );
   EXPECT_EQ( encoded( Actions().pushVlan().setVlan( 200 ).popVlan().outputInPort() ),
              hex( "0004 0038 00000000"
                   "0011 0008 8100 0000"
                   "0019 0010 80000c02 10c8 000000000000"
                   "0012 0008 00000000"
                   "0000 0010 fffffff8 0000 000000000000" ) );
   EXPECT_EQ( encoded( Actions().clone( Actions().resubmit( 48 ) ) ),
              hex( "0004 0028 00000000"
                   "ffff 0020 00002320 002a 000000000000"
                   "ffff 0010 00002320 000e fff8 30 000000" ) );
   EXPECT_EQ( encoded( Actions().load( { Fields::reg( 0 ), 4, 8 }, 6 ).outputReg( 1 ) ),
              hex( "0004 0038 00000000"
                   "ffff 0018 00002320 0007 0107 00010004 0000000000000006"
                   "ffff 0018 00002320 000f 000f 00010204 0000 000000000000" ) );
   Learn learn = learnHost( 40, 10, 300, 0x77, 0 );
   learn.steps.push_back(
      { Learn::Step::To::load, std::uint64_t{ 0x12345 }, { Fields::reg( 5 ), 4, 20 } } );
   EXPECT_EQ( encoded( Actions().learn( learn ) ),
              hex( "0004 0060 00000000"
                   "ffff 0058 00002320 0010 012c 0000 000a 0000000000000077 0000 28 00 0000 0000"
                   "000c 00000802 0000 00000802 0000"
                   "0030 00000406 0000 00000206 0000"
                   "0810 00000002 0000 00010004 0000"
                   "2814 00012345 00010a04 0004 0000" ) );
}

TEST( ActionsTest, ComeBackAsTheyWereSent ) {
   Actions const actions = someFlow().actions;
   EXPECT_EQ( decoded( encoded( actions ) ), actions );
   EXPECT_EQ( decoded( encoded( actions ) ).hash(), actions.hash() );
   EXPECT_NE( actions, Actions( actions ).popVlan() );
   EXPECT_TRUE( decoded( "" ).isDrop() );
   EXPECT_EQ( decoded( hex( "0004 0008 00000000" ) ), Actions() );
   // What others do by other means is no drop.
   std::string const gotoTable = hex( "0001 0008 05000000" );
   EXPECT_FALSE( decoded( gotoTable ).isDrop() );
   EXPECT_EQ( encoded( decoded( gotoTable ) ), gotoTable );
   EXPECT_EQ( decoded( gotoTable ).text(), "more instructions" );
   std::string const twice = encoded( actions ) + encoded( Actions().popVlan() );
   EXPECT_EQ( encoded( decoded( twice ) ), twice );
}

TEST( ActionsTest, TellWhatIsLoaded ) {
   Actions const learnt = Actions()
                             .load( { Fields::reg( 0 ), 0, 16 }, 3 )
                             .setReg( 1, 4 )
                             .load( { Fields::reg( 0 ), 0, 16 }, 6 )
                             .load( { Fields::reg( 2 ), 4, 8 }, 7 );
   EXPECT_EQ( learnt.loaded( Fields::reg( 0 ) ), 6U );
   EXPECT_EQ( learnt.loaded( Fields::reg( 1 ) ), 4U );
   EXPECT_FALSE( learnt.loaded( Fields::reg( 2 ) ) );
   EXPECT_FALSE( Actions().resubmit( 1 ).outputPort( 2 ).loaded( Fields::reg( 0 ) ) );
}

TEST( ActionsTest, AreToldInTheWordsOfTheSwitch ) {
   EXPECT_EQ( Actions().text(), "drop" );
   EXPECT_EQ( someFlow().actions.text(),
              "set_field:4296->vlan_vid,clone(output:NXM_NX_REG0[0..15]),"
              "learn(table=40,idle_timeout=300,priority=10,NXM_OF_VLAN_TCI[0..11],"
              "NXM_OF_ETH_DST[]=NXM_OF_ETH_SRC[],load:NXM_OF_IN_PORT[]->NXM_NX_REG0[0..15]),"
              "resubmit(,20)" );
   // What cannot be read is told without a harm, however deep it is nested.
   EXPECT_EQ( decoded( hex( "0004 0018 00000000 ffff 0010 00002320 002a 000000000001" ) ).text(),
              "clone()" );
   EXPECT_EQ( decoded( hex( "0004 0018 00000000 ffff 0010 00002320 0010 000000000001" ) ).text(),
              "actions of 16 bytes" );
   Actions deep;
   for ( int i = 0; i != 1000; ++i ) {
      deep = Actions().clone( deep );
   }
   EXPECT_NE( deep.text().find( "..." ), std::string::npos );
}

TEST( ActionsTest, AreRefusedWhereTheyAreDamaged ) {
   for ( char const * const bytes : {
            "0004",                                                     // cut short
            "0004 0018 00000000 0011 0008 8100 0000",                   // cut short behind it
            "0004 0004",                                                // an instruction too short
            "0004 000c 00000000 00000000",                              // or odd
            "0004 0010 00000000 0011 0000 8100 0000",                   // an action of nothing
            "0004 0010 00000000 0011 0010 8100 0000",                   // longer than what holds it
            "0004 0010 00000000 0019 0008 80000c02",                    // a field without a value
            "0004 0018 00000000 ffff 0010 00002320 0007 000000000000",  // a load of nothing
         } ) {
      EXPECT_THROW( decoded( hex( bytes ) ), DecodeError ) << bytes;
   }
}

}  // namespace

}  // namespace OpenFlow
