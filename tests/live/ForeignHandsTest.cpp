#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>
#include <fstream>
#include <random>
#include <sstream>

#include "live/LiveSwitch.h"
#include "platform/corestore/ValueText.h"

/*
 * Anyone may write the agent's inputs, with anything: the agent lives, and what it has made of
 * those that fit is what an agent that starts now would make of them. What ends it by design names
 * the row.
 *
 * QORCLIENT_LIVE_COMMANDS=N sends N commands (10000), and QORCLIENT_LIVE_SEED=N others.
 */

namespace {

using Live::eventually;
using Live::LiveSwitch;
using Live::Process;
using Words = Live::RedisServer::Words;

std::uint64_t numberOf( char const * variable, std::uint64_t otherwise ) {
   char const * const text = std::getenv( variable );
   return text ? std::strtoull( text, nullptr, 10 ) : otherwise;
}

/** Commands on inputs, good and bad, none of which ends the agent by design. */
class Commands {
 public:
   explicit Commands( std::uint64_t seed ) : random_( seed ) {}

   Words next() { return random_() % 8 != 0 ? sensible() : any(); }

 private:
   /** Each fragment has VNIs of its own: who has them first when two share them, has them. */
   Words sensible() {
      std::string const name = oneOf( { "f", "f", "g" } );
      std::string const fragment = "qor{leaf1}:qor/version1/policy/policy/policyFragment/" + name;
      std::string const original = name == "f" ? "100" : "101";
      std::string const service = name == "f" ? "200" : "201";
      std::string const side = oneOf( { "near", "far" } );
      std::string const set = fragment + "/serviceIntfSet/" + side;
      std::string const member =
         set + "/intf/" + oneOf( { "Ethernet5", "Ethernet6", "Ethernet7", "Ethernet7~11" } );
      std::string const flow = fragment + "/flow/" + oneOf( { "web", "dns" } );
      switch ( random_() % 8 ) {
         case 0:
            return { "DEL", member };
         case 1:
            return { "DEL", flow };
         case 2:
            return { "HSET", fragment, "originalVni", original, "serviceVni", service };
         case 3:
            return { "HSET", set, "@type", "\"Qor::V1::ServiceIntfSet\"" };
         case 4:
         case 5:
            return { "HSET",           flow,
                     "interceptPoint", "0",
                     "serviceIntfKey", "\"" + side + "\"",
                     "match",          "{\"vni\":" + service + "}",
                     "action",         "{\"vni\":" + original + "}" };
         default:
            return { "SET", member, "true" };
      }
   }
   Words any() {
      std::string const name = oneOf( { "f", "f", "f", "g", "~f", "" } );
      std::string const key = aKey( name );
      switch ( random_() % 20 ) {
         case 0:
            return { "DEL", key };
         case 1:
            return { "LPUSH", key, "x" };
         case 2:
            return { "PEXPIRE", key, std::to_string( 1 + random_() % 20 ) };
         case 3:
            return { "HDEL", key, field() };
         case 4:
            return { "RENAME", key, aKey( name ) };
         case 5:
            return { "SADD", key, "x" };
         case 6:
            return { "APPEND", key, "x" };
         case 7:
            return { "COPY", key, aKey( name ), "REPLACE" };
         case 8:
         case 9:
         case 10:
         case 11:
         case 12:
            return { "SET", key, value() };
         default:
            return { "HSET", key, field(), value() };
      }
   }
   std::string oneOf( std::initializer_list< char const * > choices ) {
      return choices.begin()[random_() % choices.size()];
   }
   std::string aKey( std::string const & name ) {
      std::string const fragment = "qor/version1/policy/policy/policyFragment/" + name;
      std::string key = oneOf( { "",
                                 "",
                                 "",
                                 "/serviceIntfSet/near",
                                 "/serviceIntfSet/near",
                                 "/serviceIntfSet/far",
                                 "/serviceIntfSet/near/intf/Ethernet5",
                                 "/serviceIntfSet/near/intf/Ethernet6",
                                 "/serviceIntfSet/near/intf/Et5",
                                 "/serviceIntfSet/near/intf/ethernet6",
                                 "/serviceIntfSet/far/intf/Ethernet7",
                                 "/serviceIntfSet/far/intf/Ethernet7/1",
                                 "/serviceIntfSet/far/intf/Ethernet7~11",
                                 "/flow/web",
                                 "/flow/web",
                                 "/flow/we~b",
                                 "/flow/we~0b",
                                 "/flow/web/",
                                 "/flow",
                                 "/flows/web" } );
      key = fragment + key;
      if ( random_() % 5 == 0 ) {
         key = oneOf( { "mgmt/controller/status",
                        "mgmt/controller/status/leaderServiceStatusDir",
                        "mgmt/controller/status/leaderServiceStatusDir/service/Qor",
                        "qor/version1/policy/policy",
                        "qor/version1/policy",
                        "bridging/switchIntfConfig",
                        "bridging/switchIntfConfig/switchIntfConfig/Ethernet5",
                        "bridging/config/vlanConfig/100/intf/Ethernet1",
                        "bridging/config",
                        "mlag/config",
                        "mlag/hostTable/hostEntry/100|02:00:00:00:00:0A",
                        "mlag/hostTable/hostEntry/100|02:00:00:00:00:0a",
                        "mlag/hostTable/hostEntry/0100|02:00:00:00:00:0a",
                        "routing/fhrp/vrMacStatus",
                        "vxlancontroller/version2/vni/100",
                        "vxlancontroller/version2/vni/0100",
                        "vxlancontroller/version2/vni/100/macVtepTable/02:00:00:00:00:01",
                        "qor//version1/policy",
                        "no/such/path",
                        "",
                        "~",
                        "\xff" } );
      }
      return "qor{leaf1}:" + key;
   }
   std::string field() {
      return oneOf( { "enabled", "serviceIntfKey", "interceptPoint", "match", "action",
                      "trunkNativeVlan", "peerLinkIntfId", "intf", "virtualRouterMac", "vtepAddr",
                      "@type", "@at", "", "unknown" } );
   }
   std::string value() {
      return oneOf( { "true",
                      "true",
                      "false",
                      "0",
                      "1",
                      "100",
                      "200",
                      "\"near\"",
                      "\"far\"",
                      "\"near\"",
                      "{\"vni\":100}",
                      "{\"vni\":200}",
                      "{\"vni\":99999999}",
                      "{}",
                      "[]",
                      "null",
                      "",
                      "perhaps",
                      "-1",
                      "4095",
                      "1e9",
                      "\"Ethernet1\"",
                      "\"02:00:00:00:00:01\"",
                      "\"192.0.2.9\"",
                      "{\"vni\":100,\"vni\":200}",
                      "\xff",
                      "18446744073709551616",
                      "\"\\u0000\"",
                      "{\"text\":\"x\"}" } );
   }

   std::mt19937_64 random_;
};

/** What an audit has found, without requests for VNIs and lists of VLANs: those of a fragment that
 *  goes stay until the next resync. */
std::string disagreementsIn( std::string const & audit ) {
   std::istringstream lines( audit );
   std::string found;
   for ( std::string line; std::getline( lines, line ); ) {
      bool const stays = line.find( ": bridging/input/dynvlan/" ) != line.npos ||
                         line.find( ": vxlan/input/vniconfig/" ) != line.npos;
      if ( ( line.starts_with( "unwanted" ) || line.starts_with( "missing" ) ) && !stays ) {
         found += line + "\n";
      }
   }
   return found;
}

class ForeignHandsTest : public testing::Test {
 protected:
   void SetUp() override {
      if ( !Live::RedisServer::isThere() ) {
         GTEST_SKIP() << "redis-server is not there";
      }
      begin();
   }
   void begin() {
      agent = nullptr;
      hardware = nullptr;
      device.server().ask( { "FLUSHALL" } );
      device.init();
      agent = device.serve();
      hardware = device.simulate();
      ASSERT_EQ( device.apply( LiveSwitch::policy ), 0 ) << device.said();
      ASSERT_TRUE( eventually( [&] { return device.state( "web" ) == "programmed"; } ) )
         << agent->output();
   }

   /** All is read and compared once more. */
   void loseConnections() {
      std::size_t const said = agent->output().size();
      device.server().ask( { "CLIENT", "KILL", "TYPE", "normal" } );
      EXPECT_TRUE( eventually( [&] {
         return agent->output().find( "the state of switch", said ) != std::string::npos;
      } ) )
         << agent->output();
   }
   /** What does not fit has changed nothing where it stood, and is nothing to a fresh agent: to
    *  compare the two, it goes. */
   void removeSkipped() {
      std::string last;
      for ( bool some = true; some; ) {
         device.run( { "audit", "--json" } );
         Kel::Value const skipped = *Corestore::parseJson( device.said() ).member( "skipped" );
         for ( auto const & [path, reason] : *skipped.as< Kel::Value::Object >() ) {
            device.server().ask( { "DEL", device.key( path ) } );
         }
         // Names that no text can show stay, and are nothing.
         some = std::exchange( last, Corestore::jsonLine( skipped ) ) != last;
      }
   }

   LiveSwitch device{ false };
   std::unique_ptr< Process > agent;
   std::unique_ptr< Process > hardware;
};

TEST_F( ForeignHandsTest, TheAgentAgreesWithAFreshOne ) {
   std::uint64_t const seed = numberOf( "QORCLIENT_LIVE_SEED", 1 );
   std::uint64_t const commands = numberOf( "QORCLIENT_LIVE_COMMANDS", 10'000 );
   Commands hand( seed );
   std::string last;
   std::uint64_t standing = 0;
   for ( std::uint64_t i = 0; i != commands; ++i ) {
      // Nothing would be left of the policy soon.
      if ( i % 50 == 0 ) {
         EXPECT_EQ( device.apply( LiveSwitch::policy ), 0 ) << device.said();
      }
      Words const words = hand.next();
      device.server().ask( words );
      last += "\n";
      for ( std::string const & word : words ) {
         last += word + " ";
      }
      if ( i % 50 == 49 ) {
         ASSERT_TRUE( agent->isRunning() )
            << "seed " << seed << ", " << i << last << agent->output();
         removeSkipped();
         std::string disagreements;
         ASSERT_TRUE( eventually(
            [&] {
               device.run( { "audit" } );
               disagreements = disagreementsIn( device.said() );
               return disagreements.empty();
            },
            5 ) )
            << "seed " << seed << ", " << i << last << "\n"
            << disagreements << agent->output();
         standing += device.rules() != 0;
         last.clear();
      }
   }
   // Not all was in vain.
   EXPECT_GT( standing, commands / 200 );
   begin();
   EXPECT_EQ( device.run( { "audit" } ), 0 ) << device.said();
}

TEST_F( ForeignHandsTest, WhatEndsTheAgentNamesItsRow ) {
   // Hosts that nobody asks for are looked at when they come.
   auto const isFatalAtStart = []( Words const & row ) {
      return !row[1].starts_with( "bridging/status" );
   };
   std::string const flow = "qor/version1/policy/policy/policyFragment/f/flow/web";
   for ( Words const & row :
         { Words{ "HSET", "bridging/status/fdbStatus/5000|02:00:00:00:00:01", "intf",
                  "\"Ethernet1\"", "entryType", "4" },
           Words{ "HSET", flow, "interceptPoint", "2" },
           Words{ "HSET", "qor/version1/policy/other", "@type", "\"Qor::V1::QorPolicyFragment\"" },
           Words{ "HSET", "interface/status/eth/vxlan/vtiStatus/Vxlan2", "addr", "\"192.0.2.2\"" },
           Words{ "HSET", "interface/status/eth/vxlan/vtiStatus/Vxlan1/vlanToVniMap/100", "source",
                  "0" } } ) {
      Words command = row;
      command[1] = device.key( row[1] );
      device.server().ask( command );
      EXPECT_EQ( agent->ended( 5 ), 128 + SIGABRT ) << row[1];
      EXPECT_NE( agent->output().find( "ended by the row " + device.key( row[1] ) ),
                 std::string::npos )
         << row[1] << "\n"
         << agent->output();
      EXPECT_EQ( device.run( { "audit" } ) != 0, isFatalAtStart( row ) ) << device.said();
      EXPECT_EQ( device.said().find( "fatal: " + row[1] + ": " ) != std::string::npos,
                 isFatalAtStart( row ) )
         << device.said();
      begin();
   }
   device.server().ask( { "HSET", device.key( "qorclient/status" ), "resyncInProgress", "true" } );
   EXPECT_EQ( agent->ended( 5 ), 128 + SIGABRT );
   EXPECT_NE( agent->output().find( "ended by the row " + device.key( "qorclient/status" ) ),
              std::string::npos )
      << agent->output();
}

TEST_F( ForeignHandsTest, ADocumentMendsWhatEndsTheAgent ) {
   device.server().ask( { "HSET", device.key( "qor/version1/policy/other" ), "@type",
                          "\"Qor::V1::QorPolicyFragment\"" } );
   EXPECT_EQ( agent->ended( 5 ), 128 + SIGABRT );
   agent = device.serve();
   EXPECT_EQ( agent->ended( 15 ), 128 + SIGABRT );
   EXPECT_NE( agent->output().find( "ended by what stood when it began" ), std::string::npos )
      << agent->output();
   EXPECT_EQ( device.apply( R"({"mgmt/controller/status":{"enabled":true}})" ), 2 );
   EXPECT_NE( device.said().find( "would end the agent" ), std::string::npos ) << device.said();
   EXPECT_EQ( device.apply( R"({"qor/version1/policy":{"other":null}})" ), 0 ) << device.said();
   agent = device.serve();
   EXPECT_TRUE( eventually( [&] { return device.run( { "audit" } ) == 0; } ) ) << device.said();
}

TEST_F( ForeignHandsTest, WhatStandsOutlivesForeignMembersAndPositions ) {
   std::string const table = device.key( "pinflow/dyninput/qor" );
   device.server().ask( { "HSET", table, "x", "1" } );
   device.server().ask(
      { "HSET", device.key( "mgmt/controller/status" ), "@at", "18446744073709551615" } );
   loseConnections();
   EXPECT_EQ( device.rules(), 1U );
   EXPECT_TRUE( eventually( [&] { return device.server().ask( { "EXISTS", table } ) == "0"; } ) );
   device.server().ask(
      { "SET",
        device.key(
           "qor/version1/policy/policy/policyFragment/f/serviceIntfSet/near/intf/Ethernet6" ),
        "true" } );
   EXPECT_TRUE( eventually( [&] { return device.rules() == 2; } ) ) << agent->output();
   std::string const place =
      device.server().ask( { "HGET", table + "/flowEntry/f_web-from-Et6-to-any", "@at" } );
   EXPECT_TRUE( place.size() < 6 && place.front() >= '1' && place.front() <= '9' ) << place;
   EXPECT_TRUE( eventually( [&] { return device.run( { "audit" } ) == 0; } ) ) << device.said();
}

TEST_F( ForeignHandsTest, AllIsReadAnewWhileAnAuditIsThoughtOver ) {
   agent->kill();
   device.server().ask( { "DEL", device.key( "qor/version1/policy/policy/policyFragment/f/"
                                             "serviceIntfSet/near/intf/Ethernet5" ) } );
   Live::Folder const folder;
   std::string const thought = folder.path() / "thought";
   Process audit(
      { "sh", "-c",
        "(while [ ! -e " + thought + " ]; do sleep 0.05; done; echo y) | " + QORCLIENT_PROGRAM +
           " audit --remove --switch leaf1 --redis " + device.server().address() },
      folder.path() / "audit" );
   EXPECT_TRUE( eventually( [&] { return audit.output().find( "[y/N]" ) != std::string::npos; } ) );
   device.server().ask( { "HINCRBY", device.key( "@state" ), "accepted", "1" } );
   std::ofstream( thought ) << "";
   EXPECT_EQ( audit.ended(), 1 ) << audit.output();
   EXPECT_EQ( device.rules(), 0U );
}

}  // namespace
