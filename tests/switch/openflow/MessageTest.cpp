#include "switch/openflow/Message.h"

#include <gtest/gtest.h>

#include "switch/openflow/Frames.h"

namespace OpenFlow {

namespace {

/** Reads all that a message may hold, whatever it is. */
void readAll( Message const & message ) {
   errorIn( message );
   versionsIn( message );
   portStatusIn( message );
   bundleControlIn( message );
}

void readAll( MultipartReply const & reply ) {
   for ( Flow const & flow : flowsIn( reply ) ) {
      flow.text();
   }
}

TEST( MessageTest, IsTakenOnceItIsWhole ) {
   std::string const bytes = messageOf( MessageType::echoRequest, 7, "abc" ) + "more";
   for ( std::size_t size = 0; size != 11; ++size ) {
      EXPECT_FALSE( messageIn( std::string_view( bytes ).substr( 0, size ) ) ) << size;
   }
   auto const message = messageIn( bytes );
   ASSERT_TRUE( message );
   EXPECT_EQ( message->type, MessageType::echoRequest );
   EXPECT_EQ( message->xid, 7U );
   EXPECT_EQ( message->body, "abc" );
   EXPECT_EQ( message->size, 11U );
   EXPECT_THROW( messageIn( hex( "05 02 0007 00000000" ) ), DecodeError );
   EXPECT_THROW( messageIn( hex( "04 02 0008 00000000" ) ), DecodeError );
   EXPECT_TRUE( messageIn( hex( "01 00 0008 00000000" ) ) );
}

TEST( MessageTest, FlowsAndNewsComeBackAsTheyWereSent ) {
   Flow const flow = someFlow();
   Flow const other{ .table = 1, .priority = 2 };
   std::string const both = entryOf( flow ) + entryOf( other );
   EXPECT_EQ( flowsIn( { Multipart::flows, false, both } ), ( std::vector{ flow, other } ) );

   std::string const news = newsOf( 1, 0, flow ) + hex( "0008 0004 00000005" ) +
                            newsOf( 2, 0, flow ) + hex( "0008 0005 00000000 0008 0006 00000000" );
   auto const told = monitorNewsIn( { Multipart::flowMonitor, false, news } );
   using Kind = MonitorNews::Kind;
   ASSERT_EQ( told.size(), 5U );
   EXPECT_EQ( told[0].update.event, FlowUpdate::Event::added );
   EXPECT_EQ( told[0].update.flow, flow );
   EXPECT_EQ( told[1].kind, Kind::ownChange );
   EXPECT_EQ( told[2].update.reason, FlowUpdate::Reason::idleTimeout );
   EXPECT_EQ( told[3].kind, Kind::paused );
   EXPECT_EQ( told[4].kind, Kind::resumed );
   EXPECT_THROW( monitorNewsIn( { Multipart::flowMonitor, false, hex( "0008 0007 00000000" ) } ),
                 DecodeError );
}

// The switch's own layouts: a change of a flow by itself and in a bundle.
TEST( MessageTest, ChangesOfFlowsStandAsTheSwitchTakesThem ) {
   FlowChange change{ FlowChange::Kind::add, someFlow() };
   change.flow.match = Match();
   change.flow.actions = Actions().popVlan();
   std::string const add =
      "1122334455667788 0000000000000000 0a 00 0003 0004 0014"
      "ffffffff ffffffff ffffffff 0000 0000 0001 0004 00000000";
   EXPECT_EQ( flowModMessage( 9, change ),
              hex( "05 0e 0048 00000009" + add + "0004 0010 00000000 0012 0008 00000000" ) );
   change.kind = FlowChange::Kind::deleteStrict;
   std::string const end =
      "0000000000000000 0000000000000000 0a 04 0003 0004 0014"
      "ffffffff ffffffff ffffffff 0000 0000 0001 0004 00000000";
   EXPECT_EQ( bundledFlowModMessage( 9, 4, change ),
              hex( "05 22 0048 00000009 00000004 0000 0003 05 0e 0038 00000009" + end ) );
   for ( int i = 0; i != 9000; ++i ) {
      change.flow.actions.popVlan();
   }
   change.kind = FlowChange::Kind::modifyStrict;
   EXPECT_FALSE( flowModMessage( 9, change ) );
}

// Each message, cut short and with each of its bytes changed: it is read or refused.
TEST( MessageTest, DamageIsReadOrRefused ) {
   std::string const bodies[] = { hex( "0003 0001" ) + "what it was",
                                  hex( "ffff 0003 00002320" ),
                                  hex( "0001 0008 00000020" ),
                                  hex( "00 00000000000000" ) + portOf( 3, "veth0" ),
                                  hex( "0001 0000 00000000" ) + entryOf( someFlow() ),
                                  hex( "0010 0000 00000000" ) + newsOf( 0, 0, someFlow() ),
                                  hex( "000d 0000 00000000" ) + portOf( 3, "veth0" ) };
   int refused = 0;
   auto const read = [&refused]( std::string const & body ) {
      Message const message{ protocolVersion, MessageType::error, 0, body, 8 + body.size() };
      for ( auto const & reader :
            { std::function< void() >( [&] { readAll( message ); } ),
              std::function< void() >( [&] { readAll( multipartIn( message ) ); } ),
              std::function< void() >( [&] { portsIn( multipartIn( message ) ); } ),
              std::function< void() >( [&] { monitorNewsIn( multipartIn( message ) ); } ) } ) {
         try {
            reader();
         } catch ( DecodeError const & ) {
            ++refused;
         }
      }
   };
   for ( std::string const & body : bodies ) {
      for ( std::size_t at = 0; at != body.size(); ++at ) {
         read( body.substr( 0, at ) );
         for ( int const byte : { 0, 1, 7, 0x7f, 0xff } ) {
            std::string damaged = body;
            damaged[at] = static_cast< char >( byte );
            read( damaged );
         }
      }
   }
   EXPECT_GT( refused, 1000 );
}

TEST( MessageTest, RefusalsAreToldInWords ) {
   EXPECT_TRUE( isTableFull( { 0, { 5, 1, 0 } } ) );
   EXPECT_FALSE( isTableFull( { 0, { 17, 1, 0 } } ) );
   EXPECT_TRUE( isBadPort( { 0, { 2, 4, 0 } } ) );
   EXPECT_EQ( ( Refusal{ 3, { 5, 1, 0 } }.text() ), "table full" );
   EXPECT_EQ( ( Error{ 5, 99, 0 }.text() ), "error 5/99" );
   EXPECT_EQ( ( Error{ Error::ofExperimenter, 3, 0x2320 }.text() ), "unknown field" );
   EXPECT_EQ( ( Error{ Error::ofExperimenter, 3, 7 }.text() ), "error 3 of experimenter 7" );
}

}  // namespace

}  // namespace OpenFlow
