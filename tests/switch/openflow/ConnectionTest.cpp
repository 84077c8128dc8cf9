#include "switch/openflow/Connection.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "switch/openflow/Peer.h"

namespace OpenFlow {

namespace {

using testing::ElementsAre, testing::HasSubstr, testing::IsEmpty;

std::string const hello = messageOf( MessageType::hello, 0, hex( "0001 0008 00000020" ) );

std::string errorOf( std::uint32_t xid, std::uint16_t type, std::uint16_t code ) {
   return messageOf( MessageType::error, xid, Writer().u16( type ).u16( code ).bytes() );
}

std::string controlOf( std::uint32_t xid, BundleControl type ) {
   return messageOf(
      MessageType::bundleControl, xid,
      Writer().u32( 1 ).u16( static_cast< std::uint16_t >( type ) ).u16( 3 ).bytes() );
}

class ConnectionTest : public testing::Test, private Orb::Timer {
 protected:
   ConnectionTest() {
      Connection::Events events;
      events.up = [this] { told_.emplace_back( "up" ); };
      events.down = [this]( std::string const & reason ) { told_.push_back( "down: " + reason ); };
      events.portChanged = [this]( PortChange change, Port const & port ) {
         told_.push_back( "port " + port.name + " " +
                          std::to_string( static_cast< int >( change ) ) +
                          ( port.hasLink ? "" : " without link" ) );
      };
      events.flowChanged = [this]( FlowUpdate const & update ) {
         told_.push_back( "flow " + std::to_string( static_cast< int >( update.event ) ) + " " +
                          update.flow.text() );
      };
      events.changesMissed = [this] { told_.emplace_back( "missed" ); };
      connection_ = std::make_unique< Connection >(
         scheduler_, peer_.socket(), events,
         Timing{ .firstRetry = 0.01, .lastRetry = 0.04, .askAfter = 0.05, .silence = 0.2 } );
      due();
   }
   ~ConnectionTest() override { scheduler_->disarm( *this ); }

   bool until( std::function< bool() > const & condition, double seconds = 10 ) {
      double const end = scheduler_->now() + seconds;
      scheduler_->run( [&] {
         peer_.look();
         return condition() || scheduler_->now() > end;
      } );
      return condition();
   }
   bool untilTold( std::size_t count ) {
      return until( [&] { return told_.size() >= count; } );
   }
   /** Messages from the connection since the last ones. */
   std::vector< Peer::Got > sent( std::size_t count ) {
      EXPECT_TRUE( until( [&] { return peer_.got.size() >= count; } ) );
      return std::exchange( peer_.got, {} );
   }
   void greet() {
      peer_.listen();
      EXPECT_EQ( sent( 1 ).at( 0 ).type, MessageType::hello );
      peer_.send( hello );
      EXPECT_EQ( sent( 1 ).at( 0 ).type, MessageType::setAsync );
      told_.clear();
   }
   /** A byte at a time. */
   void trickle( std::string const & bytes ) {
      for ( char const byte : bytes ) {
         peer_.send( std::string( 1, byte ) );
         int turns = 0;
         scheduler_->run( [&] { return turns++ == 3; } );
      }
   }

   Kel::Ptr< Orb::TaskScheduler > scheduler_{
      new Orb::TaskScheduler( std::make_unique< Orb::RealTime >() ) };
   Peer peer_;
   std::vector< std::string > told_;
   std::unique_ptr< Connection > connection_;

 private:
   // Wakes the scheduler up, for the peer.
   void due() override { scheduler_->arm( *this, scheduler_->now() + 0.002 ); }
};

Flow numbered( std::uint32_t n ) {
   return { .table = 1, .priority = 1, .match = Match().reg( 0, n ) };
}

std::vector< FlowChange > changes( std::uint32_t count ) {
   std::vector< FlowChange > all;
   for ( std::uint32_t i = 0; i != count; ++i ) {
      all.push_back( { FlowChange::Kind::add, numbered( i ) } );
   }
   return all;
}

std::vector< MessageType > typesOf( std::vector< Peer::Got > const & messages ) {
   std::vector< MessageType > types;
   for ( auto const & message : messages ) {
      types.push_back( message.type );
   }
   return types;
}

TEST_F( ConnectionTest, IsMadeOnceThereIsAPeerThatSpeaksTheVersion ) {
   ASSERT_TRUE( untilTold( 1 ) );
   EXPECT_THAT( told_[0], HasSubstr( "No such file" ) );
   peer_.listen();
   // One that speaks older versions alone, one that refuses, one that doesn't greet, and a newer
   // one.
   ASSERT_EQ( sent( 1 ).at( 0 ).type, MessageType::hello );
   peer_.send( hex( "04 00 0008 00000000" ) );
   ASSERT_TRUE( until( [this] { return peer_.accepted == 1; } ) );
   peer_.close();
   ASSERT_EQ( sent( 1 ).at( 0 ).type, MessageType::hello );
   peer_.send( hex( "01 01 000c 00000000 0000 0000" ) );
   peer_.close();
   ASSERT_EQ( sent( 1 ).at( 0 ).type, MessageType::hello );
   peer_.send( messageOf( MessageType::barrierReply, 1 ) );
   peer_.close();
   ASSERT_EQ( sent( 1 ).at( 0 ).type, MessageType::hello );
   EXPECT_FALSE( connection_->isUp() );
   trickle( hex( "06 00 0010 00000000 0001 0008 00000060" ) );
   ASSERT_TRUE( untilTold( 2 ) );
   EXPECT_EQ( told_[1], "up" );
   EXPECT_TRUE( connection_->isUp() );
   EXPECT_EQ( told_.size(), 2U );
}

TEST_F( ConnectionTest, IsLostWithAReasonAndMadeAnew ) {
   greet();
   bool called = false;
   connection_->program( changes( 3 ), [&]( auto const & ) { called = true; } );
   connection_->portDescriptions( [&]( auto const & ) { called = true; } );
   EXPECT_EQ( connection_->outstanding(), 2U );
   sent( 6 );
   peer_.close();
   ASSERT_TRUE( untilTold( 1 ) );
   EXPECT_EQ( connection_->outstanding(), 0U );
   connection_->program( changes( 1 ), [&]( auto const & ) { called = true; } );
   ASSERT_EQ( sent( 1 ).at( 0 ).type, MessageType::hello );
   peer_.send( hello );
   ASSERT_TRUE( untilTold( 2 ) );
   EXPECT_THAT( told_, ElementsAre( "down: closed", "up" ) );
   EXPECT_THAT( typesOf( sent( 1 ) ), ElementsAre( MessageType::setAsync ) );
   EXPECT_FALSE( called );
}

TEST_F( ConnectionTest, APeerThatIsSilentIsAskedAndGivenUp ) {
   greet();
   peer_.send( messageOf( MessageType::echoRequest, 77, "abc" ) );
   auto const answer = sent( 1 ).at( 0 );
   EXPECT_EQ( answer.type, MessageType::echoReply );
   EXPECT_EQ( answer.xid, 77U );
   EXPECT_EQ( answer.body, "abc" );
   for ( int i = 0; i != 8; ++i ) {
      ASSERT_EQ( sent( 1 ).at( 0 ).type, MessageType::echoRequest );
      peer_.send( messageOf( MessageType::echoReply, 0 ) );
   }
   EXPECT_THAT( told_, IsEmpty() );
   ASSERT_TRUE( untilTold( 1 ) );
   EXPECT_EQ( told_[0], "down: no answer" );
}

TEST_F( ConnectionTest, ChangesGoOutAsOneBundle ) {
   greet();
   std::vector< std::vector< Refusal > > answers;
   auto const done = [&]( std::vector< Refusal > refusals ) { answers.push_back( refusals ); };
   connection_->program( changes( 2 ), done );
   connection_->program( {}, done );
   auto const first = sent( 5 );
   using enum MessageType;
   EXPECT_THAT( typesOf( first ),
                ElementsAre( bundleControl, bundleAdd, bundleAdd, bundleControl, barrierRequest ) );
   trickle( controlOf( first[0].xid, BundleControl::opened ) +
            controlOf( first[3].xid, BundleControl::committed ) );
   EXPECT_TRUE( answers.empty() );
   EXPECT_TRUE( peer_.got.empty() );
   trickle( messageOf( barrierReply, first[4].xid ) );
   EXPECT_EQ( answers.size(), 1U );
   auto const second = sent( 1 );
   EXPECT_THAT( typesOf( second ), ElementsAre( barrierRequest ) );
   peer_.send( messageOf( barrierReply, second[0].xid ) );
   ASSERT_TRUE( until( [&] { return answers.size() == 2; } ) );
   EXPECT_TRUE( answers[0].empty() && answers[1].empty() );
   EXPECT_EQ( connection_->outstanding(), 0U );
}

TEST_F( ConnectionTest, ARefusedBundleIsSentOneByOne ) {
   greet();
   std::vector< Refusal > answer;
   bool isDone = false;
   connection_->program( changes( 3 ), [&]( std::vector< Refusal > refusals ) {
      answer = std::move( refusals );
      isDone = true;
   } );
   // What is asked for meanwhile has numbers behind all of it.
   std::vector< Refusal > later;
   bool isLaterDone = false;
   connection_->program( changes( 2 ), [&]( std::vector< Refusal > refusals ) {
      later = std::move( refusals );
      isLaterDone = true;
   } );
   auto const bundle = sent( 6 );
   // The first one that fails is told, and then the bundle.
   peer_.send( controlOf( bundle[0].xid, BundleControl::opened ) + errorOf( bundle[1].xid, 5, 1 ) +
               errorOf( bundle[4].xid, 17, 13 ) +
               messageOf( MessageType::barrierReply, bundle[5].xid ) );
   auto const plain = sent( 4 );
   using enum MessageType;
   EXPECT_THAT( typesOf( plain ), ElementsAre( flowMod, flowMod, flowMod, barrierRequest ) );
   EXPECT_EQ( plain[1].body, bundle[2].body.substr( 16 ) );
   trickle( errorOf( plain[1].xid, 5, 1 ) + errorOf( plain[2].xid, 2, 4 ) );
   EXPECT_FALSE( isDone );
   peer_.send( messageOf( barrierReply, plain[3].xid ) );
   ASSERT_TRUE( until( [&] { return isDone; } ) );
   EXPECT_THAT( answer, ElementsAre( Refusal{ 1, { 5, 1, 0 }, 1 }, Refusal{ 2, { 2, 4, 0 }, 1 } ) );

   // One that is refused as it comes doesn't keep the others out.
   auto const second = sent( 5 );
   EXPECT_GT( second[0].xid, plain[3].xid );
   peer_.send( errorOf( second[2].xid, 4, 7 ) +
               controlOf( second[3].xid, BundleControl::committed ) +
               messageOf( barrierReply, second[4].xid ) );
   ASSERT_TRUE( until( [&] { return isLaterDone; } ) );
   EXPECT_THAT( later, ElementsAre( Refusal{ 1, { 4, 7, 0 }, 1 } ) );

   // Those that are joined stay together, and are refused once.
   isDone = false;
   auto joined = changes( 4 );
   joined[1].isJoined = joined[3].isJoined = true;
   connection_->program( joined, [&]( std::vector< Refusal > refusals ) {
      answer = std::move( refusals );
      isDone = true;
   } );
   auto const whole = sent( 7 );
   peer_.send( errorOf( whole[4].xid, 5, 1 ) + messageOf( barrierReply, whole[6].xid ) );
   auto const pieces = sent( 9 );
   EXPECT_THAT( typesOf( pieces ),
                ElementsAre( bundleControl, bundleAdd, bundleAdd, bundleControl, bundleControl,
                             bundleAdd, bundleAdd, bundleControl, barrierRequest ) );
   EXPECT_NE( pieces[0].xid, pieces[4].xid );
   peer_.send( errorOf( pieces[6].xid, 5, 1 ) + errorOf( pieces[7].xid, 17, 13 ) +
               messageOf( barrierReply, pieces[8].xid ) );
   ASSERT_TRUE( until( [&] { return isDone; } ) );
   EXPECT_THAT( answer, ElementsAre( Refusal{ 3, { 5, 1, 0 }, 1 } ) );
}

TEST_F( ConnectionTest, WhatStandsIsReadInPiecesOfAnySize ) {
   greet();
   std::vector< std::size_t > chunks;
   std::vector< Port > ports;
   bool isDone = false;
   connection_->readFlows(
      7, [&]( std::vector< Flow > const & flows ) { chunks.push_back( flows.size() ); },
      [&] { isDone = true; } );
   connection_->portDescriptions( [&]( std::vector< Port > read ) { ports = std::move( read ); } );
   auto const asked = sent( 1 );
   EXPECT_EQ( asked.at( 0 ).body.substr( 8, 1 ), "\7" );
   trickle( multipartOf( Multipart::flows, asked[0].xid,
                         entryOf( someFlow() ) + entryOf( numbered( 1 ) ), true ) );
   trickle( multipartOf( Multipart::flows, asked[0].xid, "", true ) );
   EXPECT_FALSE( isDone );
   trickle( multipartOf( Multipart::flows, asked[0].xid, entryOf( numbered( 2 ) ) ) );
   EXPECT_TRUE( isDone );
   EXPECT_THAT( chunks, ElementsAre( 2, 1 ) );

   auto const next = sent( 1 );
   peer_.send( multipartOf( Multipart::portDescriptions, next.at( 0 ).xid,
                            portOf( 1, "et1" ) + portOf( 2, "name-of-sixteen-", 1, 1 ), true ) +
               multipartOf( Multipart::portDescriptions, next[0].xid, portOf( 3, "et3" ) ) );
   ASSERT_TRUE( until( [&] { return ports.size() == 3; } ) );
   EXPECT_EQ( ports[1].name, "name-of-sixteen-" );
   EXPECT_TRUE( ports[1].isOff && !ports[1].hasLink && !ports[0].isOff && ports[0].hasLink );
}

TEST_F( ConnectionTest, ChangesOfOthersAreTold ) {
   greet();
   bool isDone = false;
   connection_->monitorFlows( { 40, 41 }, [&] { isDone = true; } );
   auto const asked = sent( 1 );
   trickle(
      multipartOf( Multipart::flowMonitor, asked.at( 0 ).xid, newsOf( 0, 0, numbered( 1 ) ) ) );
   EXPECT_TRUE( isDone );
   trickle( multipartOf( Multipart::flowMonitor, 0,
                         hex( "0008 0004 00000005" ) + newsOf( 1, 0, numbered( 2 ) ) +
                            newsOf( 2, 2, numbered( 2 ) ) + hex( "0008 0005 00000000" ) ) );
   trickle( multipartOf( Multipart::flowMonitor, 0, hex( "0008 0006 00000000" ) ) );
   trickle( messageOf( MessageType::portStatus, 0,
                       hex( "02 00000000000000" ) + portOf( 4, "et4", 0, 1 ) ) );
   EXPECT_THAT( told_, ElementsAre( "flow 0 table=1,priority=1,reg0=0x1,actions=drop",
                                    "flow 1 table=1,priority=1,reg0=0x2,actions=drop",
                                    "flow 2 table=1,priority=1,reg0=0x2,actions=drop", "missed",
                                    "port et4 2 without link" ) );
}

// Each message that is none, or no answer: the connection is begun anew, and says why.
TEST_F( ConnectionTest, WhatIsNoMessageEndsIt ) {
   struct Case {
      std::string bytes;
      char const * reason;
      /** What was asked: nothing, flows, or changes. */
      char asked = '-';
   };
   greet();
   for ( Case const & each : {
            Case{ hex( "05 02 0004 00000000" ), "message: message of 4 bytes" },
            Case{ hex( "04 15 0008 00000000" ), "message: message of version 4" },
            Case{ hex( "05 00 000c 00000000 0001 0003" ), "hello: element of 3 bytes" },
            Case{ hex( "04 00 0008 00000000" ), "hello: no OpenFlow 1.4" },
            Case{ messageOf( MessageType::error, 0, "ab" ), "error: cut short" },
            Case{ errorOf( 0, 1, 5 ), "error: request not permitted" },
            Case{ messageOf( MessageType::portStatus, 0, hex( "07 00000000000000" ) ),
                  "port status: reason 7" },
            Case{ messageOf( MessageType::portStatus, 0, "abcdefgh" ), "port status: reason 97" },
            Case{ messageOf( MessageType::multipartReply, 0, "ab" ), "multipart reply: cut short" },
            Case{ multipartOf( Multipart::flowMonitor, 0, hex( "0008 0009 00000000" ) ),
                  "multipart reply: monitor's event 9" },
            Case{ multipartOf( Multipart::flowMonitor, 0, hex( "0001 0009" ) ),
                  "multipart reply: entry of 1 bytes" },
            Case{ multipartOf( Multipart::flows, 1, hex( "0020 0000" ) ),
                  "multipart reply: cut short", 'f' },
            Case{ multipartOf( Multipart::portDescriptions, 1, "" ),
                  "multipart reply: an answer to something else", 'f' },
            Case{ messageOf( MessageType::barrierReply, 1 ),
                  "barrier reply: no answer to what was asked", 'f' },
            Case{ errorOf( 1, 1, 9 ), "error: refused: no such table", 'f' },
            Case{ multipartOf( Multipart::flows, 1, "" ),
                  "multipart reply: no answer to what was asked", 'c' },
            Case{ messageOf( MessageType::bundleControl, 1, "ab" ), "bundle control: cut short",
                  'c' },
         } ) {
      if ( each.asked == 'f' ) {
         connection_->readFlows(
            1, []( auto const & ) {}, [] { FAIL(); } );
      } else if ( each.asked == 'c' ) {
         connection_->program( changes( 2 ), []( auto const & ) { FAIL(); } );
      }
      std::uint32_t const xid = each.asked == '-' ? 0 : sent( 1 ).at( 0 ).xid;
      std::string bytes = each.bytes;
      bytes.replace( 4, 4, Writer().u32( xid ).bytes() );
      peer_.send( bytes );
      ASSERT_TRUE( untilTold( 1 ) ) << each.reason;
      EXPECT_THAT( told_[0], HasSubstr( each.reason ) );
      peer_.close();
      ASSERT_EQ( sent( 1 ).at( 0 ).type, MessageType::hello );
      peer_.send( hello );
      sent( 1 );
      told_.clear();
   }
}

}  // namespace

}  // namespace OpenFlow
