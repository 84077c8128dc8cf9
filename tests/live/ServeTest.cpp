#include <gtest/gtest.h>

#include <csignal>

#include "live/LiveSwitch.h"

/* The programs as processes, with a server between them. */

namespace {

using Live::eventually;
using Live::LiveSwitch;
using Live::Process;
using Live::RedisServer;

class ServeTest : public testing::Test {
 protected:
   void SetUp() override {
      if ( !RedisServer::isThere() ) {
         GTEST_SKIP() << "redis-server is not there";
      }
   }
};

TEST_F( ServeTest, AForeignHandFeedsTheAgentAndReadsWhatItDoes ) {
   LiveSwitch device;
   device.init();
   auto const agent = device.serve();
   auto const hardware = device.simulate();
   ASSERT_EQ( device.apply( LiveSwitch::policy ), 0 ) << device.said();
   ASSERT_TRUE( eventually( [&] { return device.state( "web" ) == "programmed"; } ) )
      << agent->output() << hardware->output();

   // One field, by another program.
   std::string const flow = device.key( "qor/version1/policy/policy/policyFragment/f/flow/web" );
   EXPECT_NE( device.server().ask( { "HGETALL", flow } ), "" );
   device.server().ask(
      { "DEL",
        device.key(
           "qor/version1/policy/policy/policyFragment/f/serviceIntfSet/near/intf/Ethernet5" ) } );
   EXPECT_TRUE( eventually( [&] { return device.rules() == 0; } ) ) << agent->output();
   device.server().ask(
      { "SET",
        device.key(
           "qor/version1/policy/policy/policyFragment/f/serviceIntfSet/near/intf/Ethernet5" ),
        "true" } );
   EXPECT_TRUE( eventually( [&] { return device.rules() != 0; } ) ) << agent->output();

   agent->signal( SIGTERM );
   EXPECT_EQ( agent->ended(), 0 ) << agent->output();
   EXPECT_EQ( device.server().ask( { "EXISTS", device.key( "@lease/qorclient" ) } ), "0" );
}

TEST_F( ServeTest, BadRowsAreSkippedAndToldOnceAndTheRestIsTaken ) {
   LiveSwitch device;
   device.init();
   auto const agent = device.serve();
   auto const hardware = device.simulate();
   std::string const policy = device.key( "qor/version1/policy/policy" );
   std::string const member = policy + "/policyFragment/f/serviceIntfSet/near/intf/Ethernet6";
   device.server().ask( { "SET", device.key( "no/such/path" ), "1" } );
   device.server().ask( { "SET", policy + "/policyFragment/f", "{}" } );
   device.server().ask( { "LPUSH", member, "x" } );
   device.server().ask( { "HSET", device.key( "mgmt/controller/status" ), "enabled", "perhaps" } );
   EXPECT_TRUE( eventually( [&] {
      std::string const said = agent->output();
      return said.find( "is no place in the state" ) != said.npos &&
             said.find( "is of another kind" ) != said.npos &&
             said.find( "mgmt/controller/status: /enabled: not JSON" ) != said.npos;
   } ) )
      << agent->output();
   EXPECT_EQ( device.run( { "audit" } ), 1 );
   EXPECT_NE( device.said().find( "skipped: no/such/path: is no place in the state" ),
              std::string::npos )
      << device.said();

   device.server().ask(
      { "DEL", device.key( "no/such/path" ), policy + "/policyFragment/f", member } );
   ASSERT_EQ( device.apply( LiveSwitch::policy ), 0 ) << device.said();
   EXPECT_TRUE( eventually( [&] { return device.state( "web" ) == "programmed"; } ) )
      << agent->output();
   EXPECT_EQ( device.run( { "audit" } ), 0 ) << device.said();

   // What would end the agent by design is refused before.
   EXPECT_EQ( device.apply( R"({"qor/version1/policy":{"other":{}}})" ), 2 );
   EXPECT_NE( device.said().find( "would end the agent" ), std::string::npos ) << device.said();
   EXPECT_TRUE( agent->isRunning() );
}

TEST_F( ServeTest, AnEngineThatComesBackEmptyIsNoPolicy ) {
   LiveSwitch device;
   auto const agent = device.serve();
   auto const hardware = device.simulate();
   EXPECT_TRUE(
      eventually( [&] { return agent->output().find( "holds no state" ) != std::string::npos; } ) );
   device.init();
   ASSERT_EQ( device.apply( LiveSwitch::policy ), 0 ) << device.said();
   ASSERT_TRUE( eventually( [&] { return device.state( "web" ) == "programmed"; } ) );
   std::string const before = device.dump();

   device.server().lose();
   device.server().start();
   EXPECT_TRUE( eventually( [&] {
      std::string const said = agent->output();
      return said.rfind( "holds no state" ) != said.find( "holds no state" );
   } ) )
      << agent->output();
   EXPECT_EQ( device.server().ask( { "DBSIZE" } ), "0" );
   EXPECT_TRUE( agent->isRunning() );

   // Another one is not taken for it; the right one gets what the agent had written.
   device.init();
   EXPECT_TRUE( eventually(
      [&] { return agent->output().find( "holds another state" ) != std::string::npos; } ) )
      << agent->output();
   EXPECT_EQ( device.rules(), 0U );
}

TEST_F( ServeTest, AnAgentThatSleptThroughItsLeaseWritesNothing ) {
   LiveSwitch device;
   device.init();
   auto const hardware = device.simulate();
   auto const sleeper = device.serve( { "--lease", "0.3" } );
   ASSERT_EQ( device.apply( LiveSwitch::policy ), 0 ) << device.said();
   ASSERT_TRUE( eventually( [&] { return device.state( "web" ) == "programmed"; } ) );
   EXPECT_EQ( device.run( { "serve", "--end-if-held" } ), 1 );
   EXPECT_NE( device.said().find( "is served by process" ), std::string::npos ) << device.said();

   sleeper->signal( SIGSTOP );
   auto const other = device.serve( { "--lease", "0.3" } );
   ASSERT_TRUE(
      eventually( [&] { return other->output().find( "serves switch" ) != std::string::npos; } ) )
      << other->output();
   // A change that both hear of, and each would answer.
   device.server().ask( { "HSET", device.key( "mgmt/controller/status" ), "enabled", "false" } );
   ASSERT_TRUE( eventually( [&] { return device.rules() == 0; } ) );
   device.server().ask( { "CONFIG", "RESETSTAT" } );
   std::string const dump = device.dump();
   sleeper->signal( SIGCONT );
   EXPECT_EQ( sleeper->ended(), 1 ) << sleeper->output();
   EXPECT_NE( sleeper->output().find( "another process has taken over" ), std::string::npos );
   EXPECT_EQ( device.dump(), dump );
   EXPECT_TRUE( other->isRunning() );
}

}  // namespace
