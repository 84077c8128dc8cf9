#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstddef>
#include <cstdlib>
#include <fstream>
#include <sstream>

#include "documents/RowsOfDocument.h"
#include "documents/StatePatch.h"
#include "live/LiveSwitch.h"
#include "platform/corestore/ValueText.h"
#include "program/LiveState.h"

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

/** Where the programs that are started while it stands tell what they are at. */
class ServiceManager {
 public:
   /** A file, or behind an "@" a name that is no file's. */
   explicit ServiceManager( std::string const & name ) {
      address_.sun_family = AF_UNIX;
      name.copy( address_.sun_path, sizeof address_.sun_path - 1 );
      if ( name.front() == '@' ) {
         address_.sun_path[0] = 0;
      }
      size_ = static_cast< socklen_t >( offsetof( sockaddr_un, sun_path ) + name.size() );
      EXPECT_EQ( ::bind( fd_, reinterpret_cast< sockaddr const * >( &address_ ), size_ ), 0 );
      ::setenv( "NOTIFY_SOCKET", name.c_str(), 1 );
   }
   ~ServiceManager() {
      ::unsetenv( "NOTIFY_SOCKET" );
      ::close( fd_ );
   }
   ServiceManager( ServiceManager const & ) = delete;
   ServiceManager & operator=( ServiceManager const & ) = delete;

   /** Where in all that has come, behind a place in it, those words are. */
   std::size_t find( std::string const & words, std::size_t behind = 0 ) {
      std::array< char, 1000 > datagram;
      for ( ssize_t size; ( size = ::recv( fd_, datagram.data(), datagram.size(), 0 ) ) >= 0; ) {
         heard_.append( datagram.data(), static_cast< std::size_t >( size ) ).push_back( '\n' );
      }
      return heard_.find( words, behind );
   }
   std::string const & heard() const { return heard_; }
   /** From now on its socket takes nothing. */
   void fill() const {
      int const fd = ::socket( AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0 );
      while ( ::sendto( fd, "X", 1, 0, reinterpret_cast< sockaddr const * >( &address_ ), size_ ) ==
              1 ) {
      }
      ::close( fd );
   }

 private:
   int const fd_ = ::socket( AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0 );
   std::string heard_;
   sockaddr_un address_{};
   socklen_t size_ = 0;
};

TEST_F( ServeTest, AServiceManagerThatDoesNotReadStopsNobody ) {
   Live::Folder const folder;
   ServiceManager const manager( folder.path() / "notify" );
   LiveSwitch device;
   device.init();
   manager.fill();
   auto const agent = device.serve();
   auto const hardware = device.simulate();
   ASSERT_EQ( device.apply( LiveSwitch::policy ), 0 ) << device.said();
   EXPECT_TRUE( eventually( [&] { return device.rules() != 0; }, 5 ) ) << agent->output();
   agent->signal( SIGTERM );
   EXPECT_EQ( agent->ended( 5 ), 0 ) << agent->output();
}

TEST_F( ServeTest, AMarkerThatCannotBeUsedIsTold ) {
   LiveSwitch device;
   std::string const state = device.key( "@state" );
   device.server().ask( { "SET", state, "x" } );
   EXPECT_GT( device.run( { "init" } ), 0 );
   EXPECT_NE( device.said().find( "WRONGTYPE" ), std::string::npos ) << device.said();
   device.server().ask( { "DEL", state } );
   device.server().ask( { "HSET", state, "id", "" } );
   EXPECT_GT( device.run( { "init" } ), 0 );
   EXPECT_NE( device.said().find( "marker is not usable" ), std::string::npos ) << device.said();
}

TEST_F( ServeTest, TheServiceManagerHearsWhenTheAgentIsAtWorkAndWhenItEnds ) {
   Live::Folder const folder;
   for ( std::string const & name :
         { ( folder.path() / "notify" ).string(), "@qorclient-" + std::to_string( ::getpid() ) } ) {
      ServiceManager manager( name );
      LiveSwitch device;
      auto const agent = device.serve();
      // One that waits is up, and nobody waits for it.
      EXPECT_TRUE( eventually( [&] { return manager.find( "holds no state" ) != name.npos; } ) );
      EXPECT_EQ( manager.find( "READY=1\nSTATUS=" ), 0U ) << manager.heard();
      device.init();
      EXPECT_TRUE( eventually( [&] { return manager.find( "STATUS=serves " ) != name.npos; } ) );
      EXPECT_EQ( manager.find( "STOPPING=1\n" ), name.npos ) << manager.heard();
      agent->signal( SIGTERM );
      EXPECT_EQ( agent->ended(), 0 ) << agent->output();
      EXPECT_TRUE( manager.find( "\nSTOPPING=1\n" ) != name.npos ) << manager.heard();
   }
}

TEST_F( ServeTest, AWatchdogHearsThatTheAgentLives ) {
   Live::Folder const folder;
   ServiceManager manager( folder.path() / "notify" );
   ::setenv( "WATCHDOG_USEC", "300000", 1 );
   LiveSwitch device;
   std::string const config = folder.path() / "conf";
   std::ofstream( config ) << "end-if-held = true\n";
   // Also while it waits for a state.
   auto const agent = device.serve( { "--config", config } );
   std::size_t heard = 0;
   for ( int i = 0; i != 3; ++i ) {
      EXPECT_TRUE(
         eventually( [&] { return manager.find( "WATCHDOG=1\n", heard ) != std::string::npos; } ) )
         << manager.heard();
      heard = manager.heard().size();
   }
   ::setenv( "WATCHDOG_PID", "1", 1 );
   auto const other = device.serve( { "--config", config } );
   ::unsetenv( "WATCHDOG_USEC" );
   ::unsetenv( "WATCHDOG_PID" );
   agent->kill();
   device.init();
   EXPECT_TRUE( eventually( [&] { return manager.find( "READY=1\n" ) != std::string::npos; } ) );
   heard = manager.heard().size();
   ::usleep( 400000 );
   EXPECT_EQ( manager.find( "WATCHDOG", heard ), std::string::npos ) << manager.heard();
}

TEST_F( ServeTest, WhatBecomesOfAFlowStandsInTheLogUnderItsName ) {
   LiveSwitch device;
   device.init();
   auto const agent = device.serve( { "--log-format", "json" } );
   auto const tells = [&]( std::string const & words ) {
      EXPECT_TRUE(
         eventually( [&] { return agent->output().find( words ) != std::string::npos; } ) )
         << words << "\n"
         << agent->output();
   };
   tells( R"("text":"qorclient serves switch leaf1","event":"ready","switch":"leaf1"})" );
   ASSERT_EQ( device.apply( R"({"openflow/hwstatus":{"arpRuleRequired":true}})" ), 0 );
   ASSERT_EQ( device.apply( LiveSwitch::policy ), 0 ) << device.said();
   tells( R"("text":"flow f/web: initial, the hardware has 0 of 0 rules: Waiting for: )" );
   ASSERT_EQ(
      device.apply(
         R"({"qorl3/version1/global/fragmentConfig":{"red":{"flowGroup":{"1|1":{"flow":{"r":{
         "enabled":true}}}}}},
      "pinflow/pfHwStatusDir/dyninputstatus/qorl3":{"flowStats":{"r":{"status":5}}}})" ),
      0 )
      << device.said();
   tells( R"_("text":"flow red/r: error: no room in the flow table (5)","event":"flow",)_" );
   ASSERT_EQ( device.apply( R"({"interface/status/eth/vxlan":{"vtiStatus":{"Vxlan1":{
      "vlanToVniMap":{"10":{"vni":100},"20":{"vni":200}}}}}})" ),
              0 )
      << device.said();
   tells( R"("flow":"f/web","state":"waiting","details":)" );
   auto const answer = [&]( std::string const & status ) {
      EXPECT_EQ(
         device.apply( R"({"pinflow/pfHwStatusDir/dyninputstatus/qor":{"flowStats":{
                    "f-arp":{"status":)" +
                       status + R"(},"f_web-from-Et5-to-any":{"status":)" + status + "}}}}" ),
         0 )
         << device.said();
   };
   answer( "5" );
   tells( R"("level":"warning","unit":"qorclient","text":"flow f/web: rule f_web-from-Et5-to-any: )"
          R"_(rejected (5: no room in the flow table)","event":"rule","flow":"f/web",)_"
          R"("rule":"f_web-from-Et5-to-any","state":"rejected",)" );
   tells( R"("event":"flow","flow":"f/web","state":"rejected",)" );
   tells( R"_("event":"rule","flow":"f (shared)","rule":"f-arp","state":"rejected",)_" );
   answer( "1" );
   tells( R"(,"rule":"f_web-from-Et5-to-any","state":"programmed"})" );
   tells( R"("flow":"f/web","state":"programmed","details":"","rules":1,"programmed":1})" );
   ASSERT_EQ( device.apply( R"({"qor/version1/policy":{"policy":{"policyFragment":{"f":null}}}})" ),
              0 );
   tells( R"("text":"flow f/web: gone",)" );
   std::string const row = device.key( "qor/version1/policy/policy/policyFragment/f/flow/bad" );
   device.server().ask( { "HSET", row, "no", "1" } );
   tells( R"("text":"flow f/bad: )" + row );
   tells( R"("event":"skipped","row":")" + row + R"(","flow":"f/bad"})" );
   std::istringstream lines( agent->output() );
   for ( std::string line; std::getline( lines, line ); ) {
      EXPECT_TRUE( line.starts_with( R"({"time":"2)" ) && line.ends_with( "}" ) ) << line;
   }
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

TEST_F( ServeTest, WhatAnotherHandChangesMeanwhileIsNotWrittenOver ) {
   LiveSwitch device;
   device.init();
   ASSERT_EQ( device.apply( LiveSwitch::policy ), 0 ) << device.said();
   Program::LiveState state( { device.server().address(), "leaf1" } );
   state.open();
   auto const keyOf = [&]( std::string const & row ) {
      return device.key( "qor/version1/policy/policy/policyFragment/" + row );
   };
   // Another hand changes a row of the policy right before the document is written.
   auto const write = [&]( std::string const & fragments, std::string const & changed ) {
      Kel::Value const document = Corestore::parseJson(
         R"({ "qor/version1/policy": { "policy": { "policyFragment": )" + fragments + "} } }" );
      return state.writeGuarded(
         Documents::rowsOf( document ), [] {},
         [&] {
            if ( !changed.empty() ) {
               device.server().ask( { "HSET", keyOf( changed ), "serviceVni", "400" } );
            }
            Documents::applyState( state.entityManager(), document,
                                   []( auto const & mutator ) { mutator(); } );
         } );
   };
   // One that stands, and one that comes.
   for ( std::string const name : { "f", "g" } ) {
      std::string const fragments = R"({ ")" + name + R"(": { "originalVni": 300 } })";
      EXPECT_FALSE( write( fragments, name ) ) << name;
      EXPECT_TRUE( write( fragments, "" ) ) << name;
      EXPECT_EQ( device.server().ask( { "HMGET", keyOf( name ), "originalVni", "serviceVni" } ),
                 "300 400" );
   }
   EXPECT_FALSE( write( R"({ "f": null })", "f/serviceIntfSet/near" ) ) << "below what goes";
   EXPECT_TRUE( write( R"({ "f": { "originalVni": 500 } })", "g" ) ) << "none of the document's";

   // What is made while all is read anew is forgotten, and not told as written.
   device.server().ask( { "HINCRBY", device.key( "@state" ), "accepted", "1" } );
   state.scheduler().run( [&] { return !state.store().isReady(); } );
   EXPECT_FALSE( state.write( [] {} ) );
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
   ASSERT_TRUE( eventually( [&] {
      return device.rules() == 0 && device.dump().find( "flowStats" ) == std::string::npos;
   } ) );
   std::string const dump = device.dump();
   sleeper->signal( SIGCONT );
   EXPECT_EQ( sleeper->ended(), 1 ) << sleeper->output();
   EXPECT_NE( sleeper->output().find( "another process has taken over" ), std::string::npos );
   EXPECT_EQ( device.dump(), dump );
   EXPECT_TRUE( other->isRunning() );
}

TEST_F( ServeTest, AnEngineThatComesBackOlderIsWaitedOut ) {
   LiveSwitch device;
   device.init();
   auto const agent = device.serve();
   auto const hardware = device.simulate();
   ASSERT_EQ( device.apply( LiveSwitch::policy ), 0 ) << device.said();
   ASSERT_TRUE( eventually( [&] { return device.state( "web" ) == "programmed"; } ) );
   device.server().keepData();
   std::string const member = device.key(
      "qor/version1/policy/policy/policyFragment/f/serviceIntfSet/near/intf/Ethernet6" );
   device.server().ask( { "SET", member, "true" } );
   // Both have gone on from there.
   std::string const answer =
      device.key( "pinflow/pfHwStatusDir/dyninputstatus/qor/flowStats/f_web-from-Et6-to-any" );
   ASSERT_TRUE( eventually( [&] {
      return device.server().ask( { "EXISTS", answer } ) == "1";
   } ) )
      << agent->output();
   EXPECT_EQ( device.rules(), 2U );

   device.server().kill();
   device.server().restoreData();
   device.server().start();
   for ( auto const * process : { agent.get(), hardware.get() } ) {
      EXPECT_TRUE( eventually(
         [&] { return process->output().find( "holds an older state" ) != std::string::npos; } ) )
         << process->output();
   }
   EXPECT_EQ( device.rules(), 1U );

   // It is the right one now: its policy holds, and what stands follows it.
   device.server().ask( { "DEL", device.key( "qorclient/version1/capability" ) } );
   EXPECT_EQ( device.run( { "init", "--accept" } ), 0 ) << device.said();
   EXPECT_TRUE( eventually( [&] { return device.run( { "audit" } ) == 0; } ) )
      << device.said() << agent->output();
   EXPECT_EQ( device.rules(), 1U );
   device.server().ask( { "SET", member, "true" } );
   EXPECT_TRUE( eventually( [&] { return device.rules() == 2; } ) ) << agent->output();
}

TEST_F( ServeTest, TheSecondAgentTakesOver ) {
   LiveSwitch device;
   device.init();
   auto const hardware = device.simulate();
   auto first = device.serve();
   ASSERT_EQ( device.apply( LiveSwitch::policy ), 0 ) << device.said();
   ASSERT_TRUE( eventually( [&] { return device.state( "web" ) == "programmed"; } ) );
   std::string const before = device.dump();
   auto const serves = []( Process const & agent ) {
      return agent.output().find( "serves switch" ) != std::string::npos;
   };

   // At once after a clean end, and after a death on the same machine.
   auto second = device.serve();
   EXPECT_TRUE( eventually(
      [&] { return second->output().find( "is served by process" ) != std::string::npos; } ) )
      << second->output();
   first->signal( SIGTERM );
   EXPECT_EQ( first->ended(), 0 );
   EXPECT_TRUE( eventually( [&] { return serves( *second ); }, 2 ) ) << second->output();
   second->kill();
   auto third = device.serve();
   EXPECT_TRUE( eventually( [&] { return serves( *third ); }, 2 ) ) << third->output();
   third->kill();

   // Of another machine nobody knows whether it lives, until its time is over.
   std::string const fence = device.server().ask( { "GET", device.key( "@fence/qorclient" ) } );
   device.server().ask( { "SET", device.key( "@lease/qorclient" ),
                          fence + " 17 elsewhere 1 pid:[1] another-boot", "PX", "1500" } );
   auto const fourth = device.serve();
   EXPECT_TRUE( eventually( [&] {
      return fourth->output().find( "is served by process 17 on elsewhere" ) != std::string::npos;
   } ) )
      << fourth->output();
   EXPECT_FALSE( serves( *fourth ) );
   EXPECT_TRUE( eventually( [&] { return serves( *fourth ); }, 5 ) ) << fourth->output();
   EXPECT_EQ( device.dump(), before );
}

TEST_F( ServeTest, WhatNobodyIsThereToTakeAwayIsFound ) {
   LiveSwitch device;
   device.init();
   auto const hardware = device.simulate();
   auto agent = device.serve();
   ASSERT_EQ( device.apply( LiveSwitch::policy ), 0 ) << device.said();
   ASSERT_TRUE( eventually( [&] { return device.state( "web" ) == "programmed"; } ) );
   agent->kill();
   ASSERT_EQ( device.apply( R"({"qor/version1/policy":{"policy":{"policyFragment":{"f":null}}}})" ),
              0 )
      << device.said();
   agent = device.serve();
   ASSERT_TRUE(
      eventually( [&] { return agent->output().find( "serves switch" ) != std::string::npos; } ) );
   EXPECT_EQ( device.run( { "audit" } ), 1 );
   EXPECT_NE( device.said().find( "unwanted: pinflow/dyninput/qor/flowEntry/" ), std::string::npos )
      << device.said();
   EXPECT_EQ( device.run( { "audit", "--remove", "--yes" } ), 1 );
   EXPECT_EQ( device.rules(), 0U );
   EXPECT_TRUE( eventually( [&] { return device.run( { "audit" } ) == 0; } ) ) << device.said();
}

TEST_F( ServeTest, WhatComesAndGoesByItselfIsFollowed ) {
   LiveSwitch device;
   device.init();
   auto agent = device.serve();
   auto const hardware = device.simulate();
   ASSERT_EQ( device.apply( LiveSwitch::policy ), 0 ) << device.said();
   ASSERT_TRUE( eventually( [&] { return device.state( "web" ) == "programmed"; } ) );
   std::string const flow = device.key( "qor/version1/policy/policy/policyFragment/f" );
   auto const rulesAre = [&]( std::size_t rules ) {
      return eventually( [&] { return device.rules() == rules; } );
   };
   // The time of a row is over.
   device.server().ask( { "PEXPIRE", flow + "/serviceIntfSet/near/intf/Ethernet5", "20" } );
   EXPECT_TRUE( rulesAre( 0 ) ) << agent->output();
   device.server().ask( { "SET", flow + "/serviceIntfSet/near/intf/Ethernet5", "true" } );
   EXPECT_TRUE( rulesAre( 1 ) ) << agent->output();
   // What cannot be read changes nothing, and takes nothing with it; nor does a start over it.
   device.server().ask( { "SET", flow + "/serviceIntfSet/near/intf/Ethernet5", "perhaps" } );
   device.server().ask( { "HSET", device.key( "mgmt/controller/status" ), "enabled", "perhaps" } );
   device.server().ask( { "HSET", device.key( "qor/version1/policy/policy" ), "bogus", "1" } );
   EXPECT_TRUE(
      eventually( [&] { return agent->output().find( "bogus" ) != std::string::npos; } ) );
   EXPECT_TRUE( rulesAre( 1 ) ) << agent->output();
   device.server().ask( { "HSET", device.key( "mgmt/controller/status" ), "enabled", "true" } );
   device.server().ask( { "SET", flow + "/serviceIntfSet/near/intf/Ethernet5", "true" } );
   agent->kill();
   agent = device.serve();
   EXPECT_TRUE(
      eventually( [&] { return agent->output().find( "serves" ) != std::string::npos; } ) );
   EXPECT_TRUE( rulesAre( 1 ) ) << agent->output();
   device.server().ask( { "HDEL", device.key( "qor/version1/policy/policy" ), "bogus" } );
   // An entity goes while rows below it stay, and comes back.
   device.server().ask( { "RENAME", flow, "elsewhere" } );
   EXPECT_TRUE( rulesAre( 0 ) ) << agent->output();
   EXPECT_EQ( device.run( { "audit" } ), 1 );
   device.server().ask( { "RENAME", "elsewhere", flow } );
   EXPECT_TRUE( rulesAre( 1 ) ) << agent->output();
   EXPECT_EQ( device.run( { "audit" } ), 0 ) << device.said();
   // All that is below a root stays when its own row goes.
   device.server().ask( { "DEL", device.key( "mgmt/controller/status" ) } );
   EXPECT_TRUE( rulesAre( 0 ) ) << agent->output();
   EXPECT_EQ( device.run( { "audit" } ), 0 ) << device.said();
   device.server().ask( { "HSET", device.key( "mgmt/controller/status" ), "enabled", "true" } );
   EXPECT_TRUE( rulesAre( 1 ) ) << agent->output();

   // The state goes, in whichever way: what stands is no empty policy.
   auto const tells = [&]( char const * words,
                           std::vector< Live::RedisServer::Words > const & commands ) {
      std::size_t const said = agent->output().size();
      for ( auto const & command : commands ) {
         device.server().ask( command );
      }
      EXPECT_TRUE( eventually(
         [&] { return agent->output().find( words, said ) != std::string::npos; }, 10 ) )
         << words << "\n"
         << agent->output();
      EXPECT_EQ( device.rules(), commands.front().front() == "SWAPDB" && *words == 'h' ? 0U : 1U );
   };
   std::string const state = device.key( "@state" );
   std::string const id = device.server().ask( { "HGET", state, "id" } );
   tells( "holds no state", { { "DEL", state } } );
   tells( "rows", { { "HSET", state, "id", id } } );
   // Nothing is told of this but by a write that is refused.
   tells( "holds no state", { { "SWAPDB", "0", "1" } } );
   tells( "rows", { { "SWAPDB", "0", "1" }, { "HSET", state, "id", id } } );
   EXPECT_EQ( device.run( { "audit" } ), 0 ) << device.said();
   EXPECT_TRUE( agent->isRunning() );
}

}  // namespace
