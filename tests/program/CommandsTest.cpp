#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>

/* The program as a person runs it. */

namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;

class CommandsTest : public testing::Test {
 protected:
   CommandsTest() {
      std::string pattern = testing::TempDir() + "qorclient-XXXXXX";
      directory = mkdtemp( pattern.data() );
      setenv( "FLASHLOG_DISABLE", "1", 1 );
   }
   ~CommandsTest() override { fs::remove_all( directory ); }

   struct Ended {
      int code;
      std::string text;
   };
   /** Runs the program in the directory; the text is that of both its outputs. */
   Ended run( std::string const & arguments ) const { return shell( "$Q " + arguments ); }
   /** The same for a command in which $Q is the program. */
   Ended shell( std::string const & script ) const {
      std::string const command =
         "exec 2>&1; cd " + directory.string() + "; Q=" QORCLIENT_PROGRAM "; ( " + script + " )";
      std::FILE * pipe = popen( command.c_str(), "r" );
      std::string text;
      for ( int c; ( c = std::fgetc( pipe ) ) != EOF; ) {
         text += static_cast< char >( c );
      }
      return { WEXITSTATUS( pclose( pipe ) ), text };
   }
   void write( char const * file, std::string const & text ) const {
      std::ofstream( directory / file ) << text;
   }
   std::string read( char const * file ) const {
      std::ostringstream text;
      text << std::ifstream( directory / file ).rdbuf();
      return text.str();
   }

   fs::path directory;
};

TEST_F( CommandsTest, RunWritesTheStateAfterEachStepAndAtTheEnd ) {
   write( "s.json", R"({"name":"s","steps":[
      {"patch":{"mlag/status":{"mlagState":1}}},
      {"note":"gone again","patch":{"mlag/status":{"mlagState":null}}}]})" );
   Ended const ended = run( "run s.json --dump - --dump-each each --journal journal" );
   EXPECT_EQ( ended.code, 0 );
   EXPECT_THAT( ended.text, HasSubstr( "  \"mlag/status\": {},\n" ) );
   EXPECT_THAT( read( "each/0.json" ), HasSubstr( R"(  "mlag/status": {
    "mlagState": 1
  },)" ) );
   EXPECT_EQ( read( "each/1.json" ), ended.text );
   EXPECT_FALSE( fs::exists( directory / "each/2.json" ) );
   EXPECT_TRUE( fs::exists( directory / "journal" ) );
}

TEST_F( CommandsTest, RunPlaysToTheEndAndTellsEachUnmetExpectation ) {
   write( "s.json", R"({"name":"s","steps":[
      {"expect":{"mlag/status":{"mlagState":null},"mlag/config":{"peerLinkIntfId":"Ethernet1"},
         "qorclient/status":{"active":true,"boundHost":{"02:00:00:00:00:01|7":true}}}},
      {"expect":{"mlag/status":{"mlagState":1}}}]})" );
   Ended const ended = run( "run s.json --dump end.json" );
   EXPECT_EQ( ended.code, 1 );
   EXPECT_EQ( ended.text,
              "s.json: /steps/0/expect/mlag~1config/peerLinkIntfId: "
              "wanted \"Ethernet1\", found \"\"\n"
              "s.json: /steps/0/expect/qorclient~1status/active: wanted true, found false\n"
              "s.json: /steps/0/expect/qorclient~1status/boundHost/02:00:00:00:00:01|7: "
              "wanted true, found nothing\n"
              "s.json: /steps/1/expect/mlag~1status/mlagState: wanted 1, found 0\n" );
   EXPECT_TRUE( fs::exists( directory / "end.json" ) );
}

TEST_F( CommandsTest, BadInputIsOneLineAndExitCode2 ) {
   auto refused = [this]( char const * document ) {
      write( "s.json", document );
      Ended const checked = run( "check s.json" );
      Ended const ran = run( "run s.json --dump end.json" );
      EXPECT_EQ( checked.code, 2 );
      EXPECT_EQ( ran.code, 2 );
      EXPECT_EQ( ran.text, checked.text );
      EXPECT_FALSE( fs::exists( directory / "end.json" ) );
      return checked.text;
   };
   EXPECT_THAT( refused( R"({"steps":[{"advance":1},])" ), HasSubstr( "s.json: /: not JSON" ) );
   EXPECT_EQ( refused( R"({"name":"s"})" ), "s.json: /: wants a member \"steps\"\n" );
   EXPECT_EQ( refused( R"({"steps":[],"author":""})" ),
              "s.json: /author: unknown member of a scenario\n" );
   EXPECT_EQ( refused( R"({"steps":[{"note":"x"}]})" ),
              "s.json: /steps/0: wants one of patch, advance, restart, corrupt, expect\n" );
   EXPECT_EQ( refused( R"({"steps":[{"advance":1,"restart":true}]})" ),
              "s.json: /steps/0/restart: is a second action in one step\n" );
   EXPECT_EQ( refused( R"({"steps":[{"advance":-1}]})" ),
              "s.json: /steps/0/advance: wants a number of seconds, 0 to 1000000000\n" );
   EXPECT_EQ( refused( R"({"steps":[{"restart":false}]})" ),
              "s.json: /steps/0/restart: wants true\n" );
   EXPECT_EQ( refused( R"({"steps":[{"corrupt":{"bridging/status":{"fdbStatus":"7"}}}]})" ),
              "s.json: /steps/0/corrupt/bridging~1status/fdbStatus: "
              "key \"7\" needs 2 fields joined by |: fid|addr\n" );
   EXPECT_EQ(
      refused( R"({"steps":[{"advance":1},{"expect":{"mlag/status":{"x":null}}}]})" ),
      "s.json: /steps/1/expect/mlag~1status/x: unknown attribute of Mlag::Status; there are: "
      "mlagState\n" );
   EXPECT_EQ( refused( R"({"steps":[{"patch":{"mlag/status":{"mlagState":"primary"}}}]})" ),
              "s.json: /steps/0/patch/mlag~1status/mlagState: "
              "wants a number or one of none, secondary, not \"primary\"\n" );
   EXPECT_EQ( refused( R"({"steps":[],"noRestartAfter":[0]})" ),
              "s.json: /: wants a member \"noRestartWhy\" with \"noRestartAfter\"\n" );

   EXPECT_EQ( refused( R"({"steps":[],"noRestartAfter":[-1]})" ),
              "s.json: /noRestartAfter/0: wants a whole number from 0, not -1\n" );
   EXPECT_EQ(
      refused( R"({"steps":[],"switch":{"flowCapacity":1e3}})" ),
      "s.json: /switch/flowCapacity: wants a whole number from 0, not a number with a point or "
      "an exponent\n" );
   EXPECT_EQ( refused( R"({"steps":[{"patch":{"mlag/sta\ntus\u001b[2J":{}}}]})" ),
              "s.json: /steps/0/patch/mlag~1sta?tus?[2J: unknown path; there are: mlag/config, "
              "mlag/hostTable, mlag/status\n" );
   EXPECT_EQ( refused( R"({"steps":[{"patch":{"bridging/status":{"fdbStatus":{"x|y":{}}}}}]})" ),
              "s.json: /steps/0/patch/bridging~1status/fdbStatus/x|y: "
              "fid wants a whole number, 0 to 65535, not \"x\"\n" );
   std::string const longName( 300, 'x' );
   std::string const cut = std::string( 200, 'x' ) + "...";
   EXPECT_EQ( refused( ( R"({"steps":[{"patch":{"mlag/status":{"a\u0000\n\u2028)" + longName +
                         R"(":1}}}]})" )
                          .c_str() ),
              "s.json: /steps/0/patch/mlag~1status/a???" + cut.substr( 4 ) +
                 ": unknown attribute of Mlag::Status; there are: mlagState\n" );
   EXPECT_LT( refused( ( "{\"" + longName + longName ).c_str() ).size(), 400U );
   EXPECT_EQ( run( "check 'a\n" + longName + "'" ).text,
              "a?" + cut.substr( 2 ) + ": /: cannot be read: File name too long\n" );
   EXPECT_EQ( run( "check s.json 'a\nb'" ).text,
              "The following argument was not expected: a?b\n"
              "Run with --help for more information.\n" );

   write( "s.json", R"({"steps":[{"expect":{"qorclient/status":{"vlanForVni":{"1":1},
      "policyFragmentInfo":{"a\n\u001b":{}}}}}]})" );
   EXPECT_THAT( run( "run s.json" ).text, HasSubstr( "policyFragmentInfo/a??: wanted {}, " ) );
   write( "s.json",
          R"({"steps":[{"corrupt":{"bridging/status":{"fdbStatus":"7|02:00:00:00:00:01"}}}]})" );
   EXPECT_EQ( run( "run s.json" ).text,
              "s.json: /steps/0/corrupt/bridging~1status/fdbStatus: "
              "there is no row 7|02:00:00:00:00:01\n" );
   write( "state.json", R"({"mlag/status":1})" );
   EXPECT_EQ( run( "show flows --state state.json" ).text,
              "state.json: /mlag~1status: wants an object, not a number\n" );
   EXPECT_EQ( run( "show flows --state s.json" ).text,
              "s.json: /: is a scenario, and no state: --scenario plays it\n" );
   write( "state.json", R"({"mlag/status":{}})" );
   EXPECT_EQ( run( "check state.json" ).text,
              "state.json: /: is a state, and no scenario: it has no \"steps\"\n" );
   write( "s.json", R"({"steps":[],"expectDeath":"("})" );
   EXPECT_EQ( run( "check s.json" ).text,
              "s.json: /expectDeath: wants a regular expression: Unmatched ( or \\(\n" );
   EXPECT_EQ( run( "check ." ).text, ".: /: cannot be read: Is a directory\n" );
   EXPECT_EQ( run( "check missing.json" ).text,
              "missing.json: /: cannot be read: No such file or directory\n" );
}

TEST_F( CommandsTest, RunShowsTheFlowsThatThereAre ) {
   fs::path const examples = fs::path( QORCLIENT_SCENARIOS ) / "../../examples";
   std::string const routed = run( "run " + ( examples / "routed-policy.json" ).string() ).text;
   EXPECT_THAT( routed, testing::StartsWith( "VRF " ) );
   EXPECT_THAT( routed, testing::Not( HasSubstr( "none" ) ) );
   write( "s.json", R"({"steps":[]})" );
   EXPECT_EQ( run( "run s.json" ).text, "FRAGMENT  FLOW  KIND  STATE  RULES  DETAILS\nnone\n" );
}

TEST_F( CommandsTest, WhatTheStateHasNoRoomForEndsTheRunAtItsStep ) {
   std::string late = R"({"steps":[)";
   for ( int n = 0; n != 1000; ++n ) {
      late += R"({"advance":1e9},)";
   }
   write( "s.json", late + R"({"advance":1},{"patch":{"mlag/status":{"mlagState":1}}}]})" );
   EXPECT_EQ( run( "run s.json --state s.db" ).text,
              "s.json: /steps/1000/advance: takes the clock beyond 1000000000000 seconds\n" );
   EXPECT_EQ( run( "show flows --state s.db" ).code, 0 );

   std::string hosts;
   for ( int n = 0; n <= 16384; ++n ) {
      char mac[18];
      std::snprintf( mac, sizeof mac, "02:00:00:00:%02x:%02x", n / 256, n % 256 );
      hosts += ( n ? R"(,")" : "\"" ) + std::string( mac ) + R"(|1":{})";
   }
   std::string const patch = R"({"bridging/l2Rib/qor/hostInput":{"host":{)" + hosts + "}}}";
   std::string const why =
      "/bridging~1l2Rib~1qor~1hostInput/host/02:00:00:00:40:00|1: finds the table full\n";
   write( "s.json", R"({"steps":[{"patch":)" + patch + "}]}" );
   EXPECT_EQ( run( "run s.json" ).text, "s.json: /steps/0/patch" + why );
   write( "state.json", patch );
   EXPECT_EQ( run( "show hosts --state state.json" ).text, "state.json: " + why );
}

/** After a wanted change: `qorclient graph > tests/views/wiring.dot`. */
TEST_F( CommandsTest, AChangedWiringShowsInReview ) {
   std::ostringstream known;
   known << std::ifstream( fs::path( QORCLIENT_SCENARIOS ) / "../views/wiring.dot" ).rdbuf();
   EXPECT_EQ( run( "graph" ).text, known.str() );
}

TEST_F( CommandsTest, AStateFileIsGoneOnFrom ) {
   write( "a.json", R"({"steps":[{"advance":5},
      {"patch":{"mlag/status":{"mlagState":1},"bridging/status":{"fdbStatus":{
         "7|02:00:00:00:00:01":{"intf":"Ethernet1","entryType":4}}}}}]})" );
   write( "b.json", R"({"steps":[{"expect":{"mlag/status":{"mlagState":1},
      "bridging/status":{"fdbStatus":{"7|02:00:00:00:00:01":{"intf":"Ethernet1"}}}}},
      {"patch":{"mlag/status":{"mlagState":2}}},{"advance":0.5}]})" );
   EXPECT_EQ( run( "run a.json --state s.db" ).code, 0 );
   Ended const second = run( "run b.json --state s.db" );
   EXPECT_EQ( second.code, 0 ) << second.text;
   EXPECT_EQ( run( "run b.json --state s.db" ).text.substr( 0, 41 ),
              "b.json: /steps/0/expect/mlag~1status/mlag" );
   EXPECT_EQ( run( "show flows --state s.db" ).code, 0 );
   EXPECT_EQ( std::distance( fs::directory_iterator( directory ), fs::directory_iterator() ), 3 );

   // The journal goes on with the state, behind what a killed process has left of a line.
   write( "c.json", R"({"steps":[{"patch":{"mgmt/controller/status":{"enabled":true,
      "leaderServiceStatusDir":{"service":{"Qor":{"enabled":true}}}}}},
      {"patch":{"mgmt/controller/status":{"enabled":false}}}]})" );
   run( "run c.json --state c.db --journal j" );
   std::string const earlier = read( "j" );
   EXPECT_THAT( earlier, testing::StartsWith( "{\"step\":-1," ) );
   write( "j", earlier + "{\"torn" );
   run( "run c.json --state c.db --journal j" );
   EXPECT_THAT( read( "j" ), testing::StartsWith( earlier + "{\"torn\n{\"step\":" ) );
   for ( char const * anew : { "", " --state new.db" } ) {
      run( std::string( "run c.json --journal j" ) + anew );
      EXPECT_EQ( read( "j" ), earlier );
   }

   // What is read is not written over, by whatever name.
   std::string const saved = read( "s.db" );
   fs::create_symlink( "s.db", directory / "link" );
   for ( char const * outputs : { "--dump s.db", "--dump s.db-wal", "--journal link",
                                  "--journal ./b.json", "--dump b.json" } ) {
      Ended const refused = run( std::string( "run b.json --state s.db " ) + outputs );
      EXPECT_EQ( refused.code, 2 ) << outputs;
      EXPECT_THAT( refused.text, HasSubstr( "cannot be written: it is the s" ) );
   }
   EXPECT_EQ( run( "run a.json --state new --journal new" ).code, 2 );
   fs::create_symlink( "both", directory / "other" );
   for ( char const * outputs : { "--journal missing/j", "--dump missing/d", "--dump-each a.json/x",
                                  "--dump both --journal other", "--dump-each d --dump d/1.json",
                                  "--trace-file both --journal both", "--trace-file a.json",
                                  "--trace-file missing/t", "--trace-file t --dump t.1" } ) {
      Ended const refused = run( std::string( "run a.json --state new " ) + outputs );
      EXPECT_EQ( refused.code, 2 ) << outputs;
      EXPECT_EQ( std::ranges::count( refused.text, '\n' ), 1 ) << refused.text;
      EXPECT_FALSE( fs::exists( directory / "new" ) ) << outputs;
   }
   for ( char const * none : { "both", "d", "t", "t.1" } ) {
      EXPECT_FALSE( fs::exists( directory / none ) ) << none;
   }
   EXPECT_EQ( read( "s.db" ), saved );

   fs::resize_file( directory / "s.db", 5000 );
   write( "journal", "earlier" );
   EXPECT_EQ( run( "run a.json --state s.db --journal journal --dump d --dump-each e/e" ).code, 2 );
   EXPECT_EQ( read( "journal" ), "earlier" );
   EXPECT_FALSE( fs::exists( directory / "d" ) || fs::exists( directory / "e" ) );
   for ( char const * command : { "run a.json --state s.db", "show flows --state s.db" } ) {
      Ended const refused = run( command );
      EXPECT_EQ( refused.code, 2 );
      EXPECT_THAT( refused.text, testing::StartsWith( "s.db: " ) );
   }
   EXPECT_EQ( fs::file_size( directory / "s.db" ), 5000U );
}

TEST_F( CommandsTest, AShortInterfaceNameIsRemarkedOn ) {
   std::string const patch =
      R"({"qor/version1/policy":{"policy":{"policyFragment":{"a/b":{"serviceIntfSet":{"near":{
         "intf":{"Et1":true,"Ethernet2":true,"port-channel3":true,"Lan4":true}}},
         "flow":{"f":{"serviceIntfKey":"near","match":{"vni":1},"action":{"vni":2}}}}}}}})";
   write( "s.json", R"({"steps":[{"patch":)" + patch + "}]}" );
   std::string const at =
      "s.json: /steps/0/patch/qor~1version1~1policy/policy/policyFragment/a~1b/"
      "serviceIntfSet/near/intf/";
   Ended const checked = run( "check s.json" );
   EXPECT_EQ( checked.code, 0 );
   EXPECT_EQ( checked.text, at + "Et1: remark: \"Et1\" is another interface than \"Ethernet1\"\n" +
                               at +
                               "port-channel3: remark: \"port-channel3\" is another interface than "
                               "\"Port-Channel3\"\n" );
   write( "state.json", patch );
   EXPECT_THAT( run( "why f --state state.json" ).text,
                HasSubstr( "  note      interfaces  \"Et1\" is another interface than "
                           "\"Ethernet1\"\n" ) );
}

TEST_F( CommandsTest, UsageErrorsExitWith2 ) {
   write( "s.json", R"({"steps":[]})" );
   EXPECT_EQ( run( "--help" ).code, 0 );
   EXPECT_EQ( run( "--version" ).text, "qorclient 1.0\n" );
   EXPECT_THAT( run( "run s.json --trace Nobody=3" ).text,
                testing::AllOf( HasSubstr( "no handle Nobody; there are: " ),
                                HasSubstr( ", QorClientHostTrackerSm, " ) ) );
   EXPECT_EQ( run( "check s.json" ).code, 0 );
   for ( char const * arguments :
         { "", "play s.json", "run", "run s.json --trace 10",
           "run s.json --trace =", "run s.json --trace Nobody=3", "show flows", "why", "why a",
           "show colors --scenario s.json", "show flows --scenario s.json --state s.json",
           "run s.json --dump missing/end.json", "run s.json --state ''", "decode s.json",
           "describe mlag", "describe mlag/status --markdown" } ) {
      EXPECT_EQ( run( arguments ).code, 2 ) << arguments;
   }
}

TEST_F( CommandsTest, AServiceTakesOptionsFromAFileAndNamesALineThatItCannotTake ) {
   auto const refused = [this]( char const * text, char const * because ) {
      write( "c", text );
      Ended const ended = run( "serve --config c" );
      EXPECT_EQ( ended.code, 2 ) << text;
      EXPECT_EQ( ended.text, because + std::string( "\n" ) ) << text;
   };
   refused( "# comment\n\nlease = 5000\n",
            "c:3: --lease: Value 5000 not in range 0.100000 to 3600.000000" );
   refused( "redis = nowhere", "c:1: --redis: nowhere is neither unix:PATH nor HOST:PORT" );
   refused( "end-if-held = perhaps", "c:1: Could not convert: --end-if-held = perhaps" );
   refused( "switch = a\nswitch = b\n", "c:2: switch is there twice" );
   refused( "lease\n", "c:1: wants NAME = VALUE" );
   refused( "vtep = 192.0.2.1\n", "c:1: serve has no option vtep" );
   refused( "config = d\n", "c:1: serve has no option config" );
   refused( "help = true\n", "c:1: serve has no option help" );
   write( "c", "\nvlan-pool = 5-1\n" );
   EXPECT_EQ( shell( "${Q%client}switch openvswitch --config c" ).text,
              "c:2: --vlan-pool: wants the lower VLAN of a range first\n" );
   EXPECT_EQ( run( "serve --config d" ).text, "d: No such file or directory\n" );
   EXPECT_EQ( run( "serve --config ." ).text, ".: Is a directory\n" );

   // What is given goes first; what it takes is there: the password is read only after that.
   write( "c", "redis = unix:nowhere.sock\nswitch = leaf1\ntrace = 0\ntrace = QorClient=1\n" );
   EXPECT_THAT( run( "serve --config=c --switch /" ).text, HasSubstr( "a switch's name is" ) );
   EXPECT_EQ( shell( "QORCLIENT_REDIS_PASSWORD_FILE=none $Q serve --config c" ).text,
              "none: no password can be read\n" );
   EXPECT_THAT(
      shell( "QORCLIENT_REDIS_PASSWORD_FILE=none $Q serve --config c --log-format json" ).text,
      HasSubstr(
         R"("level":"error","unit":"qorclient","text":"none: no password can be read",)" ) );
}

TEST_F( CommandsTest, TracesGoWhereTheyAreAskedForAndNowhereElse ) {
   write( "s.json", R"({"steps":[]})" );
   EXPECT_EQ( shell( "unset FLASHLOG_DISABLE; $Q run s.json" ).code, 0 );
   EXPECT_EQ( std::distance( fs::directory_iterator( directory ), fs::directory_iterator() ), 1 );
   EXPECT_THAT( run( "run s.json --trace QorClient=8" ).text,
                testing::ContainsRegex(
                   "^[0-9]+-[0-9]+-[0-9]+T[0-9:.]+Z 8 QorClient .*Agent::doInit\\(\\): \n" ) );

   // The trace has none of the standard descriptors, and what is written there doesn't reach it.
   std::string const all = "run s.json --trace 9 --trace-file t.fl";
   for ( char const * closed : { "", " >&-", " 2>&-", " <&- >&- 2>&-" } ) {
      Ended const ran = run( all + closed );
      EXPECT_EQ( ran.code, std::string_view( closed ).find( " >&-" ) == std::string::npos ? 0 : 2 );
      Ended const decoded = run( "decode t.fl" );
      EXPECT_EQ( decoded.code, 0 ) << decoded.text << closed;
      EXPECT_THAT( decoded.text, HasSubstr( "doMountsComplete" ) );
   }
   EXPECT_EQ( run( "decode t.fl.1" ).code, 0 );
   std::string const in = "unset FLASHLOG_DISABLE; FLASHLOGDIR=. ";
   EXPECT_EQ( shell( in + "$Q run s.json" ).code, 0 );
   std::string const first = run( "decode QorClient.fl" ).text;
   EXPECT_EQ( shell( in + "$Q run s.json" ).code, 0 );
   EXPECT_EQ( run( "decode QorClient.fl.1" ).text, first );
}

TEST_F( CommandsTest, WhatEndsOrStarvesTheProgramIsOneLineAndNoHarm ) {
   write( "s.json", R"({"steps":[{"patch":{"mlag/status":{"mlagState":1}}}]})" );
   EXPECT_EQ( run( "run s.json --state s.db" ).code, 0 );
   std::string const saved = read( "s.db" );
   auto const refused = [&]( std::string const & script, char const * text ) {
      Ended const ended = shell( script );
      EXPECT_EQ( ended.code, 2 ) << script;
      EXPECT_THAT( ended.text, testing::MatchesRegex( text ) ) << script;
   };
   refused( "mkfifo fifo; $Q check fifo", "fifo: /: cannot be read: it is a FIFO\n" );
   refused( "$Q show flows --state fifo", "fifo: /: cannot be read: it is a FIFO\n" );
   refused( "$Q run s.json --state fifo", "fifo: is no regular file\n" );
   refused( "$Q check /dev/zero", "/dev/zero: /: cannot be read: it is a device\n" );
   refused( "$Q show flows --state /dev/null", "/dev/null: /: cannot be read: it is a device\n" );
   refused( "$Q run s.json --dump /dev/full", "/dev/full: /: cannot be written: No space .*\n" );
   refused( "$Q check s.db", "s.db: /: is the state file of a run, and no document\n" );
   refused( "printf '{\"steps\":[]}\\0x' > nul; $Q check nul",
            "nul: /: holds a NUL byte, at offset 12\n" );
   refused( "$Q run s.json --state s.json", "s.json: /: cannot be the state file: it is .*\n" );
   // What was made for a run that is refused goes again, and an earlier trace stays.
   refused( "ln -s target link; $Q run s.json --dump link --journal missing/x",
            "missing/x: /: cannot be written: No such .*\n" );
   refused( "$Q run s.json --trace-file t --state missing/x", "missing/x: .*\n" );
   refused( "$Q run s.json --trace-file missing/t --state fresh", "missing/t: .*\n" );
   for ( char const * file : { "target", "t", "fresh", "fresh-wal" } ) {
      EXPECT_FALSE( fs::exists( directory / file ) ) << file;
   }
   std::string const longName( 300, 'x' );
   refused( "$Q run s.json --dump " + longName + " --journal " + longName + "y",
            "x+[^:]*: /: cannot be written: File name too long\n" );
   EXPECT_LT( run( "run s.json --trace " + longName + longName + "=3" ).text.size(), 1200u );

   std::string hosts;
   for ( int n = 0; n != 20'000; ++n ) {
      hosts += ( n ? ",\"" : "\"" ) + std::to_string( n ) + R"(":{})";
   }
   write( "big.json", R"({"steps":[{"patch":{"vxlancontroller/version2/vni":{)" + hosts + "}}}]}" );
   refused( "ulimit -f 200; $Q run big.json --state s.db", "s.db: cannot be written: .*\n" );
   EXPECT_EQ( run( "show flows --state s.db" ).code, 0 );
   EXPECT_EQ( read( "s.db" ).size(), saved.size() );
   refused( "ulimit -f 0; $Q run s.json --dump - > end",
            "(Slab .*|standard output: /: cannot be written)\n" );
   refused( "$Q run s.json --dump - | exec false; $Q run s.json > /dev/full",
            "(.*\n)*standard output: /: cannot be written\n" );
// Sanitizers reserve more than there is, and what counts its lines does not fit in.
#if !defined( QORCLIENT_SANITIZE ) && !defined( QORCLIENT_COVERAGE )
   int starved = 0;
   for ( int kilobytes = 14'000; kilobytes < 40'000; kilobytes += 2'000 ) {
      Ended const ended = shell( "ulimit -v " + std::to_string( kilobytes ) +
                                 "; $Q run big.json --state s.db --dump new > end" );
      EXPECT_EQ( fs::exists( directory / "new" ), ended.code == 0 ) << kilobytes;
      starved += ended.code == 2;
      EXPECT_THAT( ended.code, testing::AnyOf( 0, 2 ) ) << kilobytes;
      EXPECT_EQ( std::ranges::count( ended.text, '\n' ), ended.code / 2 ) << ended.text;
   }
   EXPECT_GT( starved, 1 );
   EXPECT_EQ( run( "show flows --state s.db" ).code, 0 );
#endif

   write( "s.json", R"({"steps":[{"advance":1},{"patch":{
      "mgmt/controller/status":{"enabled":true,
         "leaderServiceStatusDir":{"service":{"Qor":{"enabled":true}}}},
      "interface/status/eth/vxlan":{"vtiStatus":{"Vxlan1":{},"Vxlan2":{}}}}}]})" );
   Ended const died = run( "run s.json --dump end2" );
   EXPECT_GE( died.code, 128 );
   EXPECT_THAT( died.text,
                HasSubstr( "\ns.json: /steps/1/patch/interface~1status~1eth~1vxlan/vtiStatus"
                           "/Vxlan2: the process ends in step 1\n" ) );
   EXPECT_FALSE( fs::exists( directory / "end2" ) );
}

TEST_F( CommandsTest, ShowTellsAnOperatorWhatStands ) {
   write( "state.json", R"({
      "qor/version1/policy":{"policy":{"policyFragment":{"web":{"flow":{
         "a":{"serviceIntfKey":"near"}, "b":{"match":{"srcMac":"02:00:00:00:00:01"}},
         "c\u001b[2J\u009b\u00a7":{"interceptPoint":1}}}}}},
      "qorclient/version1/policystatus":{"policyFragment":{"web":{"flowStatus":{
         "a":{"flowState":3,"flowStateDetails":"Rejected because: "},
         "b":{"flowStateDetails":"Waiting for: Host to be learnt"},
         "old":{"flowState":3}}}}},
      "qorclient/status":{
         "flowNameForRuleName":{"r":"a"}, "fragmentNameForRuleName":{"r":"web"},
         "vlanForVni":{"70":100}, "boundVni":{"70|Ethernet3/1|web":true,"71||web":true},
         "boundHost":{"02:00:00:00:00:01|100":true},
         "policyFragmentInfo":{"web":{"flowInfo":{
            "a":{"ruleInfo":{"Ethernet1||true":{"published":true,"ruleName":"r"},
               "Ethernet2||true":{}}},
            "b":{"boundHost":{"02:00:00:00:00:01|100":""}},"kept":{}}}}},
      "pinflow/dyninput/qor":{"flowEntry":{"r":{"tableType":2,
         "match":{"matchFieldSet":265,"inIntf":["Ethernet1"],"vlanId":100,
            "ethSrc":"02:00:00:00:00:01","ethSrcMask":"ff:ff:ff:ff:ff:ff"},
         "actions":{"actionFieldSet":33554440,"vlanId":200}}}},
      "pinflow/pfHwStatusDir/dyninputstatus/qor":{"flowStats":{"r":{"status":5}}},
      "bridging/status":{"fdbStatus":{"100|02:00:00:00:00:01":{"intf":"Ethernet7","moveCount":3}}}})" );
   EXPECT_EQ(
      run( "show flows --state state.json" ).text,
      "FRAGMENT  FLOW     KIND            STATE         RULES  DETAILS\n"
      "web       a        service near    rejected      1      "
      "Rejected because: no room in the flow table (5)\n"
      "web       b        intercept       initial       0      Waiting for: Host to be learnt\n"
      "web       c?[2J?§  egress          not reported  0      -\n"
      "web       old      not configured  rejected      0      -\n" );
   EXPECT_EQ( run( "show rules --state state.json" ).text,
              "RULE  FLOW   TABLE      PRIORITY  HARDWARE                                 "
              "MATCH                                     ACTIONS\n"
              "r     web/a  preLookup  0         rejected (5: no room in the flow table)  "
              "in Et1, VLAN 100, from 02:00:00:00:00:01  rewrite to VLAN 200, forward\n" );
   EXPECT_EQ( run( "show hosts --state state.json" ).text,
              "HOST               VLAN  FLOWS  INTERFACE  MOVES  STATE\n"
              "02:00:00:00:00:01  100   web/b  -          3      "
              "waiting: learnt on Et7, which is not in VLAN 100\n" );
   EXPECT_EQ( run( "show vnis --state state.json" ).text,
              "VNI  VLAN     REQUESTED  BOUND BY\n"
              "70   100      no         web on Et3/1\n"
              "71   waiting  no         web\n" );
   EXPECT_THAT( run( "show l3flows --state state.json" ).text, HasSubstr( "none\n" ) );
   EXPECT_THAT(
      run( "--help | cat state.json | " QORCLIENT_PROGRAM " show vnis --state /dev/stdin" ).text,
      HasSubstr( "waiting  no         web\n" ) );
   EXPECT_EQ( run( "show vnis --json --state state.json" ).text,
              R"([
  {"vni":70,"vlan":100,"requested":false,"bound_by":["web on Et3/1"]},
  {"vni":71,"vlan":null,"requested":false,"bound_by":["web"]}
]
)" );
   EXPECT_EQ( run( "show groups --json --state state.json" ).text, "[]\n" );

   Ended const why = run( "why old --state state.json" );
   EXPECT_EQ( why.code, 0 );
   EXPECT_THAT( why.text,
                testing::StartsWith( "web/old: not configured\n"
                                     "  missing   controller  the controller client is not "
                                     "enabled (mgmt/controller/status)\n" ) );
   EXPECT_THAT( why.text, testing::EndsWith( "\nwaiting: the controller client is not enabled "
                                             "(mgmt/controller/status)\n" ) );
   Ended const unknown = run( "why x --state state.json" );
   EXPECT_EQ( unknown.code, 2 );
   EXPECT_EQ( unknown.text,
              "no flow \"x\"; there are: web/a, web/b, web/c?[2J?§, web/kept, web/old\n" );
   EXPECT_THAT( run( "why web/old --json --state state.json" ).text,
                testing::AllOf( HasSubstr( R"({"fragment":"web","name":"old","flow":"web/old",)" ),
                                HasSubstr( R"({"link":"status","finding":"rejected",)" ),
                                HasSubstr( R"(,"path":"mgmt/controller/status"}
])" ) ) );
   EXPECT_THAT( run( "why web/a --state state.json" ).text,
                HasSubstr( "rejected: Rejected because: no room in the flow table (5)\n" ) );
}

TEST_F( CommandsTest, AFrameIsFollowed ) {
   write( "state.json", R"({
      "bridging/config":{"vlanConfig":{"100":{"intf":{"Ethernet1":true,"Ethernet2":true}}}},
      "bridging/switchIntfConfig":{"switchIntfConfig":{"Ethernet1":{"trunkNativeVlan":100}}},
      "interface/status/eth/vxlan":{"vtiStatus":{"Vxlan1":{"vlanToVniMap":{"100":{"vni":7}}}}},
      "vxlancontroller/version2/vni":{"7":{"macVtepTable":{
         "02:00:00:00:00:02":{"vtepAddr":"192.0.2.2"}}}}})" );
   auto const trace = [this]( std::string const & arguments ) {
      return run( "trace-packet --state state.json --from 02:00:00:00:00:01 " + arguments );
   };
   Ended const flood = trace( "--in Ethernet1 --to ff:ff:ff:ff:ff:ff --ether-type 0x806" );
   EXPECT_EQ( flood.code, 0 );
   EXPECT_EQ( flood.text,
              "in          Ethernet1, untagged: VLAN 100 (native)\n"
              "learnt      02:00:00:00:00:01 in VLAN 100 at Ethernet1\n"
              "flood       ff:ff:ff:ff:ff:ff in VLAN 100: to all that carries VLAN 100\n"
              "out         Ethernet2, tagged 100\n"
              "out         VNI 7 to 192.0.2.2\n" );
   EXPECT_THAT( trace( "--in Ethernet2 --vlan 100 --to 02:00:00:00:00:09 --json" ).text,
                testing::AllOf( testing::StartsWith(
                                   R"([
  {"steps":[{"kind":"in","text":"Ethernet2, tagged: VLAN 100",)"
                                   R"("path":"bridging/config/vlanConfig/100/intf/Ethernet2"},)" ),
                                testing::EndsWith( R"("exits":[{"port":"Ethernet1","vlan":null},)"
                                                   R"({"vtep":"192.0.2.2","vni":7}],"drop":null}
])"
                                                   "\n" ) ) );
   EXPECT_THAT( trace( "--in Vxlan1 --vni 8 --to 02:00:00:00:00:09 --json" ).text,
                HasSubstr( R"("exits":[],"drop":"Vxlan1 has no VLAN for VNI 8"}
)" ) );
   auto const refused = [&trace]( std::string const & arguments ) {
      Ended const ended = trace( "--to 02:00:00:00:00:02 " + arguments );
      EXPECT_EQ( ended.code, 2 ) << arguments;
      return ended.text.substr( 0, ended.text.find( '\n' ) );
   };
   EXPECT_EQ( refused( "--in Et1" ), "no port \"Et1\"; there are: Ethernet1, Ethernet2, Vxlan1" );
   EXPECT_EQ( refused( "--in Vxlan1" ),
              "\"Vxlan1\" is the tunnel interface: a frame has a VNI there (--vni)" );
   EXPECT_EQ( refused( "--in Ethernet1 --vni 7" ),
              "\"Ethernet1\" is a port: a frame has no VNI there" );
   EXPECT_EQ( refused( "--in Ethernet1 --ip-from 10.0.0.1 --ip-to ::1" ),
              "the addresses are not those of one IP frame" );
   for ( char const * arguments :
         { "--in ''", "--in Ethernet1 --vlan 4095", "--in Ethernet1 --ether-type 70000",
           "--in Ethernet1 --ip-from 10.0.0.1", "--in Ethernet1 --to-port 80", "" } ) {
      refused( arguments );
   }
   EXPECT_EQ( run( "trace-packet --state state.json --in Ethernet1 --from x "
                   "--to 02:00:00:00:00:02" )
                 .text,
              "--from: x is not a MAC address such as 02:00:00:00:00:01\n"
              "Run with --help for more information.\n" );
}

}  // namespace
