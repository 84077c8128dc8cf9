#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>
#include <fstream>

#include "live/LiveSwitch.h"

/* The users of the example, each with what it owns. */

namespace {

using Live::eventually;
using Live::LiveSwitch;

constexpr char deviceDocument[] = R"({
   "pinflow/pfHwStatusDir/dyninputstatus/qor": { "supported": true },
   "interface/status/eth/vxlan": { "vtiStatus": { "Vxlan1": { "addr": "192.0.2.1" } } },
   "mgmt/controller/status": { "enabled": true,
      "leaderServiceStatusDir": { "service": { "Qor": { "enabled": true } } } } })";
constexpr char policy[] = R"({ "qor/version1/policy": { "policy": { "policyFragment": { "f": {
   "originalVni": 100, "serviceVni": 200,
   "serviceIntfSet": { "near": { "intf": { "Ethernet5": true } } },
   "flow": { "web": { "interceptPoint": "ingress", "serviceIntfKey": "near",
      "match": { "vni": 200 }, "action": { "vni": 100 } } } } } } } })";

class UsersTest : public testing::Test {
 protected:
   void SetUp() override {
      if ( !Live::RedisServer::isThere() ) {
         GTEST_SKIP() << "redis-server is not there";
      }
   }
   void TearDown() override {
      ::unsetenv( "QORCLIENT_REDIS_USER" );
      ::unsetenv( "QORCLIENT_REDIS_PASSWORD" );
   }
   /** Programs that are started from now on are that user's. */
   static void userIs( std::string const & name ) {
      ::setenv( "QORCLIENT_REDIS_USER", name.c_str(), 1 );
      ::setenv( "QORCLIENT_REDIS_PASSWORD", ( "change-" + name ).c_str(), 1 );
   }
   /** The example's file, with a user without a name for the test itself. */
   std::string users() const {
      std::string const file = folder.path() / "users.acl";
      std::ifstream example( QORCLIENT_SCENARIOS "/../../examples/live/users.acl" );
      std::ofstream out( file );
      for ( std::string line; std::getline( example, line ); ) {
         out << ( line == "user default off" ? "user default on nopass ~* &* +@all" : line )
             << "\n";
      }
      return file;
   }

   Live::Folder folder;
};

TEST_F( UsersTest, EachDoesItsWorkAndNothingElse ) {
   LiveSwitch device( false, { "--aclfile", users() } );
   userIs( "reader" );
   EXPECT_EQ( device.run( { "init" } ), 2 ) << device.said();
   EXPECT_NE( device.said().find( "NOPERM" ), std::string::npos ) << device.said();
   userIs( "operator" );
   device.init();
   userIs( "qorclient" );
   auto const agent = device.serve();
   userIs( "qorswitch" );
   auto const hardware = device.simulate();
   EXPECT_EQ( device.apply( deviceDocument ), 0 ) << device.said();
   EXPECT_EQ( device.apply( policy ), 2 ) << device.said();
   EXPECT_NE( device.said().find( "NOPERM" ), std::string::npos ) << device.said();
   userIs( "controller" );
   EXPECT_EQ( device.apply( policy ), 0 ) << device.said();
   EXPECT_EQ( device.apply( R"({ "mgmt/controller/status": { "enabled": false } })" ), 2 );
   userIs( "reader" );
   EXPECT_TRUE( eventually( [&] { return device.state( "web" ) == "programmed"; } ) )
      << agent->output() << hardware->output();
   EXPECT_EQ( device.run( { "audit" } ), 0 ) << device.said();
   EXPECT_EQ( device.apply( policy ), 0 ) << "nothing to write: " << device.said();

   // What each may write, by the server's own word.
   struct Case {
      char const * user;
      char const * path;
      bool may;
   };
   for ( Case const & one :
         { Case{ "qorclient", "pinflow/dyninput/qor/flowEntry/x", true },
           Case{ "qorclient", "pinflow/dyninput/qorl3", true },
           Case{ "qorclient", "vxlan/clientDir/qor", true },
           Case{ "qorclient", "vxlan/clientDir/other", false },
           Case{ "qorclient", "qor/version1/policy/policy", false },
           Case{ "qorclient", "qorclient/mlagpluginstatus", false },
           Case{ "qorclient", "@lease/qorswitch", false }, Case{ "qorclient", "@state", false },
           Case{ "qorswitch", "pinflow/dyninput/qor/flowEntry/x", false },
           Case{ "qorswitch", "bridging/status/fdbStatus/1", true },
           Case{ "qorswitch", "@lease/qorclient", false },
           Case{ "controller", "qorl3/version1/global/fragmentConfig/red", true },
           Case{ "controller", "qorclient/status", false },
           Case{ "controller", "@lease/qorclient", false },
           Case{ "reader", "qor/version1/policy", false } } ) {
      std::string const answer = device.server().ask(
         { "ACL", "DRYRUN", one.user, "HSET", device.key( one.path ), "x", "1" } );
      EXPECT_EQ( answer == "OK", one.may ) << one.user << " " << one.path << ": " << answer;
   }
   for ( char const * user : { "qorclient", "qorswitch", "controller", "operator", "reader" } ) {
      EXPECT_NE( device.server().ask( { "ACL", "DRYRUN", user, "FLUSHALL" } ), "OK" ) << user;
      EXPECT_NE( device.server().ask( { "ACL", "DRYRUN", user, "GET", "other" } ), "OK" ) << user;
   }
   for ( auto const & process : { agent.get(), hardware.get() } ) {
      process->signal( SIGTERM );
      EXPECT_EQ( process->ended(), 0 ) << process->output();
   }
   // Nobody else was refused anything.
   std::string const log = device.server().ask( { "ACL", "LOG" } );
   EXPECT_EQ( log.find( "username qorclient" ), std::string::npos ) << log;
}

TEST_F( UsersTest, AWrongPasswordIsTold ) {
   LiveSwitch device( false, { "--aclfile", users() } );
   userIs( "operator" );
   ::setenv( "QORCLIENT_REDIS_PASSWORD", "wrong", 1 );
   EXPECT_EQ( device.run( { "init" } ), 2 );
   EXPECT_NE( device.said().find( "WRONGPASS" ), std::string::npos ) << device.said();
}

}  // namespace
