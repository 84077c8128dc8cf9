#include "switch/openvswitch/FlowBook.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "switch/openflow/Peer.h"

namespace OpenVSwitch {

namespace {

using OpenFlow::MessageType;

/** Keys with a flow each. */
class Keys : public FlowSource {
 public:
   std::string_view name() const override { return "keys"; }
   WantedFlows flows( Kel::String const & ) override {
      return { .flows = { { .table = 10, .priority = 7 } } };
   }
   void answered( Kel::String const &, Answer const & ) override {}
   void removed( Kel::String const & ) override {}
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
   book_.changed( keys_, Kel::String( "key" ) );
   book_.reconcile();
   ASSERT_TRUE( hasAsked( 1 ) );
   // The second is as the switch makes them, but not where it does.
   has( { { .table = 10, .priority = 7, .cookie = 0x999 }, { .table = 10, .cookie = 1 } } );
   ASSERT_TRUE( until( [this] { return got( MessageType::flowMod ).size() == 1; } ) );
   EXPECT_EQ( got( MessageType::flowMod )[0].body[17], 0 ) << "one is added";
   peer_.send( OpenFlow::messageOf( MessageType::barrierReply,
                                    got( MessageType::barrierRequest ).back().xid ) );
   EXPECT_TRUE( until( [this] { return got( MessageType::bundleAdd ).size() == 2; } ) )
      << "two are deleted";
}

}  // namespace

}  // namespace OpenVSwitch
