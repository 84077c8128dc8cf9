#include "switch/openvswitch/FlowBook.h"

#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "switch/openflow/Peer.h"

namespace OpenVSwitch {

namespace {

using OpenFlow::MessageType;

/** Keys with a flow in each of these tables. */
class Keys : public FlowSource {
 public:
   std::string_view name() const override { return "keys"; }
   WantedFlows flows( Kel::String const & key ) override {
      WantedFlows wanted;
      for ( std::uint8_t const table : tables[key] ) {
         auto const priority = static_cast< std::uint16_t >( 7 + wanted.flows.size() );
         wanted.flows.push_back( { .table = table, .priority = priority } );
      }
      return wanted;
   }
   void answered( Kel::String const & key, Answer const & answer ) override {
      answers[key] = static_cast< int >( answer.status );
   }
   void removed( Kel::String const & key ) override { answers.erase( key ); }

   std::map< Kel::String, std::vector< std::uint8_t > > tables;
   std::map< Kel::String, int > answers;
};

class FlowBookTest : public testing::Test, private Orb::Timer {
 protected:
   FlowBookTest() {
      peer_.listen();
      due();
      EXPECT_TRUE( until( [this] { return peer_.got.size() == 1; } ) );
      peer_.send(
         OpenFlow::messageOf( MessageType::hello, 0, OpenFlow::hex( "0001 0008 00000020" ) ) );
      EXPECT_TRUE( until( [this] { return connection_.isUp(); } ) );
   }
   ~FlowBookTest() override { scheduler_->disarm( *this ); }

   bool until( std::function< bool() > const & condition ) {
      double const end = scheduler_->now() + 5;
      scheduler_->run( [&] {
         peer_.look();
         return condition() || scheduler_->now() > end;
      } );
      return condition();
   }
   /** The messages of that kind so far. */
   std::vector< OpenFlow::Peer::Got > got( MessageType type ) {
      auto messages = peer_.got;
      std::erase_if( messages, [type]( auto const & message ) { return message.type != type; } );
      return messages;
   }
   bool hasAsked( std::size_t times ) {
      return until( [&] { return got( MessageType::multipartRequest ).size() == times; } );
   }
   /** Answers what was sent last: it is done, but for a message whose table is full. */
   void answer( std::size_t barriers, std::uint32_t full = 0 ) {
      ASSERT_TRUE( until( [&] { return got( MessageType::barrierRequest ).size() == barriers; } ) );
      if ( full != 0 ) {
         peer_.send(
            OpenFlow::messageOf( MessageType::error, full, OpenFlow::hex( "0005 0001" ) ) );
      }
      peer_.send( OpenFlow::messageOf( MessageType::barrierReply,
                                       got( MessageType::barrierRequest ).back().xid ) );
   }
   /** Answers what was asked last with what the bridge has. */
   void has( std::vector< OpenFlow::Flow > const & flows ) {
      std::string body;
      for ( OpenFlow::Flow const & flow : flows ) {
         body += OpenFlow::entryOf( flow );
      }
      peer_.send( OpenFlow::multipartOf( OpenFlow::Multipart::flows,
                                         got( MessageType::multipartRequest ).back().xid, body ) );
   }

   Kel::Ptr< Orb::TaskScheduler > scheduler_{
      new Orb::TaskScheduler( std::make_unique< Orb::RealTime >() ) };
   OpenFlow::Peer peer_;
   OpenFlow::Connection connection_{ scheduler_,
                                     peer_.socket(),
                                     { .up = [] {},
                                       .down = []( std::string const & ) {},
                                       .portChanged = []( auto const &... ) {},
                                       .flowChanged = []( auto const & ) {},
                                       .changesMissed = [] {} } };
   Keys keys_;
   FlowBook book_{ scheduler_, connection_ };

 private:
   // Wakes the scheduler up, for the peer.
   void due() override { scheduler_->arm( *this, scheduler_->now() + 0.002 ); }
};

TEST_F( FlowBookTest, WhatChangesDuringAReadingIsReadOnceMore ) {
   for ( int change = 0; change != 5; ++change ) {
      book_.reconcile();
   }
   ASSERT_TRUE( hasAsked( 1 ) );
   has( {} );
   ASSERT_TRUE( hasAsked( 2 ) );
   has( {} );
   EXPECT_TRUE( until( [this] { return book_.settled(); } ) );
   EXPECT_TRUE( hasAsked( 2 ) );
}

TEST_F( FlowBookTest, StrangersGoWhenWhatTakesTheirPlaceStands ) {
   keys_.tables["key"] = { 10 };
   book_.changed( keys_, "key" );
   book_.reconcile();
   ASSERT_TRUE( hasAsked( 1 ) );
   // The second is as the switch makes them, but not where it does.
   has( { { .table = 10, .priority = 7, .cookie = 0x999 }, { .table = 10, .cookie = 1 } } );
   ASSERT_TRUE( until( [this] { return got( MessageType::flowMod ).size() == 1; } ) );
   EXPECT_EQ( got( MessageType::flowMod )[0].body[17], 0 ) << "one is added";
   answer( 1 );
   EXPECT_TRUE( until( [this] { return got( MessageType::bundleAdd ).size() == 2; } ) )
      << "two are deleted";
}

TEST_F( FlowBookTest, AKeyOfSeveralTablesWaitsForTheOneThatIsFull ) {
   keys_.tables["both"] = { 11, 12 };
   keys_.tables["one"] = { 12 };
   book_.reconcile();
   ASSERT_TRUE( hasAsked( 1 ) );
   has( {} );
   book_.changed( keys_, "both" );
   book_.changed( keys_, "one" );
   ASSERT_TRUE( until( [this] { return got( MessageType::bundleAdd ).size() == 3; } ) );
   answer( 1, got( MessageType::bundleAdd )[1].xid );
   // What belongs together is tried together, and goes together.
   ASSERT_TRUE( until( [this] { return got( MessageType::bundleAdd ).size() == 5; } ) );
   answer( 2, got( MessageType::bundleAdd )[4].xid );
   answer( 3 );
   ASSERT_TRUE( until( [this] { return keys_.answers.size() == 2; } ) );
   EXPECT_EQ( keys_.answers["both"], 5 );
   EXPECT_EQ( keys_.answers["one"], 1 );
   // There is room in the second of its tables.
   keys_.tables["one"] = {};
   book_.changed( keys_, "one" );
   answer( 4 );
   ASSERT_TRUE( until( [this] { return got( MessageType::bundleAdd ).size() == 7; } ) );
   peer_.send( OpenFlow::messageOf( MessageType::bundleControl,
                                    got( MessageType::bundleControl ).back().xid,
                                    got( MessageType::bundleControl ).back().body.substr( 0, 4 ) +
                                       OpenFlow::hex( "0005 0003" ) ) );
   answer( 5 );
   EXPECT_TRUE( until( [this] { return keys_.answers["both"] == 1; } ) );
   EXPECT_TRUE( book_.settled() );
}

TEST_F( FlowBookTest, RoomThatComesInPiecesAddsUp ) {
   keys_.tables = { { "first", { 12 } }, { "second", { 12 } }, { "wide", { 12, 12 } } };
   book_.reconcile();
   ASSERT_TRUE( hasAsked( 1 ) );
   has( {} );
   std::size_t alone = 0;
   auto const changes = [&]( char const * key, bool isThere, std::size_t barrier ) {
      book_.changed( keys_, key );
      ASSERT_TRUE( until( [&] { return got( MessageType::flowMod ).size() == alone + 1; } ) );
      ++alone;
      answer( barrier );
      ASSERT_TRUE( until( [&] { return keys_.answers.contains( key ) == isThere; } ) );
   };
   changes( "first", true, 1 );
   changes( "second", true, 2 );
   book_.changed( keys_, "wide" );
   ASSERT_TRUE( until( [this] { return got( MessageType::bundleAdd ).size() == 2; } ) );
   answer( 3, got( MessageType::bundleAdd )[1].xid );
   ASSERT_TRUE( until( [this] { return got( MessageType::bundleAdd ).size() == 4; } ) );
   answer( 4, got( MessageType::bundleAdd )[3].xid );
   ASSERT_TRUE( until( [this] { return keys_.answers.contains( "wide" ); } ) );
   EXPECT_EQ( keys_.answers["wide"], 5 );
   // What may stand of it goes.
   ++alone;
   ASSERT_TRUE( until( [&] { return got( MessageType::flowMod ).size() == alone; } ) );
   answer( 5 );
   keys_.tables["first"] = {};
   changes( "first", false, 6 );
   keys_.tables["second"] = {};
   changes( "second", false, 7 );
   EXPECT_TRUE( until( [this] { return got( MessageType::bundleAdd ).size() == 6; } ) );
}

}  // namespace

}  // namespace OpenVSwitch
