#include "web/Site.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>
#include <sstream>

#include "documents/NumberNames.h"
#include "platform/corestore/ValueText.h"
#include "scenario/Switch.h"
#include "views/tables/PortFacts.h"
#include "web/Page.h"
#include "web/Picture.h"

namespace {

using Kel::Value;
using testing::HasSubstr;
using testing::Not;

class SiteTest : public testing::Test {
 protected:
   SiteTest() : site( *entities(), "leaf1", Web::Guard( { .socket = "/page" }, {}, "" ) ) {}

   void patch( std::string const & document ) {
      device.patch( Documents::withNumbers( Corestore::parseJson( document ) ) );
   }
   Web::Answer get( std::string const & path, decltype( Web::Request::query ) query = {} ) {
      return site.answer( { .path = path, .query = std::move( query ) } );
   }
   Value json( std::string const & path, decltype( Web::Request::query ) query = {} ) {
      Web::Answer const answer = get( path, std::move( query ) );
      EXPECT_EQ( answer.status, 200U ) << answer.body;
      return Corestore::parseJson( answer.body );
   }
   std::string words( Value const & value ) { return Corestore::jsonLine( value ); }

   Scenarios::Switch device{ {} };
   Web::Site site;

 private:
   // The site is made with it, as the program does.
   Corestore::EntityManager * entities() {
      return const_cast< Corestore::EntityManager * >( &device.entityManager() );
   }
};

/** Ten flows, of which those with an even number have a rule in the hardware. */
std::string policyOf( std::string const & fragment ) {
   std::string flows;
   for ( int i = 0; i != 10; ++i ) {
      flows += std::string( i ? "," : "" ) + "\"flow-" + std::to_string( i ) +
               R"(":{"serviceIntfKey":"near","interceptPoint":"ingress",
                     "match":{"vni":)" +
               ( i % 2 == 0 ? "20100" : "30100" ) + R"(},"action":{"vni":10100}})";
   }
   return R"({
      "mgmt/controller/status":{"enabled":true,
         "leaderServiceStatusDir":{"service":{"Qor":{"enabled":true}}}},
      "interface/status/eth/vxlan":{"vtiStatus":{"Vxlan1":{"addr":"192.0.2.1",
         "vlanToVniMap":{"100":{"vni":10100},"200":{"vni":20100}}}}},
      "bridging/config":{"vlanConfig":{"100":{"intf":{"Ethernet1":true}}}},
      "bridging/status":{"fdbStatus":{"100|02:00:00:00:00:0a":{"intf":"Ethernet1",
         "entryType":"local"}}},
      "vxlancontroller/version2/vni":{"10100":{"macVtepTable":{
         "02:00:00:00:00:02":{"vtepAddr":"192.0.2.2"}}}},
      "qor/version1/policy":{"policy":{"policyFragment":{")" +
          fragment + R"(":{"originalVni":10100,"serviceVni":20100,
         "serviceIntfSet":{"near":{"intf":{"Ethernet5":true}}},"flow":{)" +
          flows + "}}}}}}";
}

/** What the hardware says of the even ones of the fragment "web". */
constexpr char answers[] = R"({"pinflow/pfHwStatusDir/dyninputstatus/qor":{"flowStats":{
   "web_flow-0-from-Et5-to-any":{"status":1},"web_flow-2-from-Et5-to-any":{"status":1},
   "web_flow-4-from-Et5-to-any":{"status":1},"web_flow-6-from-Et5-to-any":{"status":1},
   "web_flow-8-from-Et5-to-any":{"status":1}}}})";

TEST_F( SiteTest, ListsAreSearchedFilteredAndPaged ) {
   patch( policyOf( "web" ) );
   patch( answers );
   Value const all = json( "/api/flows" );
   EXPECT_EQ( *all.member( "found" ), Value( std::uint64_t{ 10 } ) );
   EXPECT_EQ( all.member( "rows" )->as< Value::Array >()->size(), 10U );

   Value const page = json( "/api/flows", { { "first", "4" }, { "most", "2" } } );
   EXPECT_THAT( words( page ), HasSubstr( "flow-4" ) );
   EXPECT_THAT( words( page ), HasSubstr( "flow-5" ) );
   EXPECT_THAT( words( page ), Not( HasSubstr( "flow-6" ) ) );
   EXPECT_EQ( *page.member( "found" ), Value( std::uint64_t{ 10 } ) );

   auto const foundOf = [&]( std::string const & table,
                             decltype( Web::Request::query ) const & query ) {
      return *json( "/api/" + table, query ).member( "found" )->as< std::uint64_t >();
   };
   EXPECT_EQ( foundOf( "flows", { { "search", "FLOW-7" } } ), 1U );
   EXPECT_EQ( foundOf( "flows", { { "state", "programmed" } } ), 5U );
   EXPECT_EQ( foundOf( "flows", { { "state", "programmed" }, { "search", "flow-7" } } ), 0U );
   EXPECT_EQ( foundOf( "rules", { { "state", "programmed" }, { "search", "vlan 200" } } ), 5U );
   EXPECT_EQ( foundOf( "rules", { { "state", "no answer" } } ), 0U );
   EXPECT_EQ( foundOf( "vnis", { { "state", "waiting" } } ), 1U ) << "30100";
   // A page behind the end is empty, and what is no number is not given.
   EXPECT_EQ( json( "/api/rules", { { "first", "18446744073709551615" } } )
                 .member( "rows" )
                 ->as< Value::Array >()
                 ->size(),
              0U );
   EXPECT_EQ( json( "/api/flows", { { "first", "-1" }, { "most", "x" } } )
                 .member( "rows" )
                 ->as< Value::Array >()
                 ->size(),
              10U );
   EXPECT_EQ( get( "/api/nothing" ).status, 404U );
   EXPECT_EQ( get( "/../etc/passwd" ).status, 404U );
}

TEST_F( SiteTest, ThePictureHasPortsTunnelsServicesAndWays ) {
   patch( policyOf( "web" ) );
   patch( answers );
   std::string const picture = get( "/api/picture" ).body;
   EXPECT_THAT( picture,
                HasSubstr( R"({"name":"Ethernet1","short":"Et1","native":1,"vlans":"100")" ) );
   EXPECT_THAT( picture, HasSubstr( R"({"mac":"02:00:00:00:00:0a","vlan":100,"how":"learnt"})" ) );
   EXPECT_THAT( picture, HasSubstr( R"("sets":["web/near"])" ) );
   EXPECT_THAT( picture,
                HasSubstr( R"("ends":[{"address":"192.0.2.2","hosts":1,"vnis":"10100"}])" ) );
   EXPECT_THAT(
      picture,
      HasSubstr(
         R"({"set":"near","point":"in","from":20100,"to":10100,"ports":["Ethernet5"],"states":{"programmed":5},)" ) );
   EXPECT_THAT( picture,
                HasSubstr( R"("flows":{"initial":5,"programmed":5},"routed_flows":0,"rules":5)" ) );
   EXPECT_THAT( picture,
                HasSubstr( R"("segments":[{"vni":20100,"vlan":200,"tunnel":"Vxlan1"},)" ) );
   EXPECT_EQ( Views::rangesOf( { 1, 2, 3, 7, 9, 10 } ), "1-3,7,9,10" );
   // Ports are a list, too.
   patch( R"({"mlag/config":{"peerLinkIntfId":"Port-Channel1"},
      "bridging/input/dynvlan/allowedvlan/qor":{"vlans":{"Ethernet1":"7,9"}}})" );
   EXPECT_THAT(
      get( "/api/ports" ).body,
      HasSubstr( R"({"port":"Ethernet1","vlans":"7,9,100","untagged":1,"sets":null,"hosts":1},)"
                 R"({"port":"Ethernet5")" ) );
   EXPECT_THAT( get( "/api/ports", { { "search", "web/near" } } ).body,
                HasSubstr( "\"found\":1" ) );
   EXPECT_THAT(
      get( "/api/learnt", { { "state", "learnt" } } ).body,
      HasSubstr( R"({"host":"02:00:00:00:00:0a","vlan":100,"port":"Ethernet1","how":"learnt"})" ) );
   EXPECT_THAT(
      get( "/api/tunnels" ).body,
      HasSubstr(
         R"({"tunnel":"Vxlan1","address":"192.0.2.1","end_point":"192.0.2.2","vnis":"10100","hosts":1})" ) );
}

/** A picture stays one, however much there is of a kind. */
TEST_F( SiteTest, OfMuchThePictureHasAFewAndACount ) {
   patch( policyOf( "web" ) );
   patch( answers );
   std::string flows;
   std::string ports;
   for ( int i = 0; i != 100; ++i ) {
      flows += ( i ? ",\"" : "\"" ) + std::to_string( i ) + R"(":{"serviceIntfKey":"a)" +
               std::to_string( i % 20 ) + R"(","interceptPoint":"ingress","match":{"vni":)" +
               std::to_string( 1000 + i ) + R"(},"action":{"vni":10100}})";
      ports += ( i ? ",\"Ethernet" : "\"Ethernet" ) + std::to_string( 100 + i ) + "\":true";
   }
   std::string sets;
   for ( int i = 0; i != 20; ++i ) {
      sets += ",\"a" + std::to_string( i ) + R"(":{"intf":{"Ethernet5":true}})";
   }
   patch( R"({"qor/version1/policy":{"policy":{"policyFragment":{"web":{
      "serviceIntfSet":{"far":{"intf":{)" +
          ports + "}}" + sets + R"(},"flow":{)" + flows + "}}}}}}" );
   Value const picture = json( "/api/picture" );
   Value const & web = picture.member( "fragments" )->as< Value::Array >()->front();
   EXPECT_EQ( *web.member( "way_count" ), Value( std::uint64_t{ 102 } ) );
   EXPECT_EQ( web.member( "ways" )->as< Value::Array >()->size(), 24U );
   EXPECT_THAT( words( web ), Not( HasSubstr( R"("states":{"programmed")" ) ) )
      << "all is well there";
   EXPECT_THAT( words( web ), HasSubstr( R"("set":"a12")" ) );
   EXPECT_THAT( words( web ), HasSubstr( R"({"name":"a12","ports":["Ethernet5"])" ) )
      << "behind eight others";
   EXPECT_EQ( web.member( "sets" )->as< Value::Array >()->size(), 8U );
   EXPECT_THAT( words( web ), HasSubstr( R"("port_count":100)" ) );
   EXPECT_THAT( words( picture ), HasSubstr( R"("port_count":102)" ) );
   EXPECT_LT( words( picture ).size(), 30'000U );
   // A list in a cell likewise: 100 flows need this VNI.
   EXPECT_EQ(
      json( "/api/ports", { { "most", "5" } } ).member( "rows" )->as< Value::Array >()->size(),
      5U );
}

/** Numbers count what the lists have; until the state has been read there are none. */
TEST_F( SiteTest, NumbersAreThoseOfTheState ) {
   EXPECT_THAT( get( "/metrics" ).body, Not( HasSubstr( "qorclient_flows" ) ) );
   EXPECT_THAT( get( "/api/picture" ).body, HasSubstr( "\"read\":false}" ) );
   site.follow();
   EXPECT_THAT( get( "/api/picture" ).body, HasSubstr( "\"read\":true}" ) );
   // Of three hosts one waits in a VLAN, one for a VLAN, and one cannot be placed.
   patch(
      R"({"qor/version1/policy":{"policy":{"policyFragment":{"web":{"originalVni":10100,"serviceVni":20100,"flow":{
         "a":{"match":{"srcMac":"02:00:00:00:00:01","vni":10100}},
         "b":{"match":{"srcMac":"02:00:00:00:00:02","vni":30100}},
         "c":{"match":{"srcMac":"02:00:00:00:00:03"}}}}}}},
      "mgmt/controller/status":{"enabled":true,
         "leaderServiceStatusDir":{"service":{"Qor":{"enabled":true}}}},
      "interface/status/eth/vxlan":{"vtiStatus":{"Vxlan1":{"vlanToVniMap":{"100":{"vni":10100},"200":{"vni":20100}}}}},
      "qorl3/version1/global/fragmentConfig":{"red":{"flowGroup":{"1|1":{"flow":{"f":{}}}}}},
      "pinflow/pfHwStatusDir/dyninputstatus/qorl3":{
         "trafficGroupStatus":{"g":{},"h":{"status":2}},
         "trafficEndPointStatus":{"red|10.0.0.1|10|02:00:00:00:00:01":{"status":4}}}})" );
   device.advance( 1 );
   std::string const metrics = get( "/metrics" ).body;
   EXPECT_THAT( words( json( "/api/hosts", { { "state", "waiting" } } ) ),
                HasSubstr( "\"found\":2" ) );
   EXPECT_THAT( words( json( "/api/hosts", { { "state", "waiting: VNI" } } ) ),
                HasSubstr( "\"found\":1" ) );
   EXPECT_THAT( words( json( "/api/hosts", { { "search", "not learnt" } } ) ),
                HasSubstr( "\"found\":1" ) );
   for ( char const * row :
         { R"(hosts{switch="leaf1",state="waiting"} 2)",
           R"(flows{switch="leaf1",kind="routed",state="not reported"} 1)",
           "\"group refused by the platform (2)\"} 1", "\"end point unknown (4)\"} 1" } ) {
      EXPECT_THAT( metrics, HasSubstr( row ) );
   }
}

/** What is asked for by many between two events is made once, and is never older than an event. */
TEST_F( SiteTest, AnAnswerIsAsNewAsTheLastEvent ) {
   site.follow();
   EXPECT_THAT( get( "/api/flows" ).body, HasSubstr( "\"found\":0" ) );
   patch( policyOf( "web" ) );
   device.advance( 0.1 );
   EXPECT_THAT( get( "/api/flows" ).body, HasSubstr( "\"found\":10" ) );
   EXPECT_THAT( get( "/api/flows", { { "search", "flow-3" } } ).body, HasSubstr( "\"found\":1" ) );
   site.situationIs( { .isThere = false, .words = "lost" } );
   EXPECT_THAT( get( "/api/picture" ).body, HasSubstr( R"("there":false,"words":"lost")" ) );
}

TEST_F( SiteTest, AFlowAndAFrameAreFollowed ) {
   patch( policyOf( "web" ) );
   EXPECT_THAT( get( "/api/chain", { { "flow", "web/flow-1" } } ).body,
                HasSubstr( "\"summary\":\"waiting: " ) );
   EXPECT_EQ( get( "/api/chain", { { "flow", "web/flow-11" } } ).status, 404U );
   decltype( Web::Request::query ) frame{ { "in", "Ethernet1" },
                                          { "from", "02:00:00:00:00:0a" },
                                          { "to", "02:00:00:00:00:02" },
                                          { "vlan", "100" } };
   EXPECT_THAT( words( json( "/api/frame", frame ) ),
                HasSubstr( R"("exits":[{"vtep":"192.0.2.2","vni":10100}])" ) );
   for ( auto const & [name, text] : { std::pair( "in", "Ethernet99" ),
                                       { "in", "" },
                                       { "from", "0a" },
                                       { "vlan", "4095" },
                                       { "vlan", "1 2" },
                                       { "vni", "5" },
                                       { "ip_from", "10.0.0.1" },
                                       { "protocol", "256" },
                                       { "ether_type", "ipx" } } ) {
      auto wrong = frame;
      wrong[name] = text;
      EXPECT_EQ( get( "/api/frame", wrong ).status, 400U ) << name << " " << text;
   }
}

/** Names from outside are texts in JSON, in events and in metrics, whatever they hold. */
TEST_F( SiteTest, HostileNamesStayTexts ) {
   site.follow();
   std::string const name = R"(</script>\"\\\n\u0000\u2028'--><img src=x>)";
   Web::Events::Reader reader = site.events().begin();
   patch( policyOf( name ) );
   device.advance( 1 );
   Value const flows = json( "/api/flows" );
   EXPECT_EQ( flows.member( "rows" )->as< Value::Array >()->size(), 10U );
   std::string text( 1 << 20, '\0' );
   text.resize( site.events().read( reader, text.data(), text.size() ) );
   EXPECT_THAT( text, testing::StartsWith( "event: changes\ndata: {" ) );
   // Lines are those of the events alone.
   std::istringstream lines( text );
   int line = 0;
   for ( std::string one; std::getline( lines, one ); ++line ) {
      EXPECT_THAT( one, testing::StartsWith( line % 3 == 0   ? "event: changes"
                                             : line % 3 == 1 ? "data: {"
                                                             : "" ) );
   }
   EXPECT_EQ( line % 3, 0 );
   for ( char const c : text ) {
      EXPECT_TRUE( c == '\n' || static_cast< unsigned char >( c ) >= 0x20 );
   }
   site.situationIs( { .isThere = true,
                       .processes = { { "a\"b", "", { { "turns", "1 } evil" }, { "queue", "3" } } },
                                      { "agent",
                                        "it",
                                        { { "turns", "9" },
                                          { "turnSeconds", "0.5" },
                                          { "turnLengths", "0.001:3,1:8" } } },
                                      { "other",
                                        "it",
                                        { { "turns", "9" },
                                          { "turnSeconds", "0.5" },
                                          { "turnLengths", "1:8,0.001:3 evil" } } } },
                       .skipped = { { "a", "b" } },
                       .furtherSkipped = 6 } );
   std::string const metrics = get( "/metrics" ).body;
   EXPECT_THAT( metrics, HasSubstr( R"(qorclient_queue{switch="leaf1",role="a\"b"} 3)" ) );
   EXPECT_THAT( metrics, Not( HasSubstr( "evil" ) ) );
   EXPECT_THAT( metrics, HasSubstr( "qorclient_web_rows_skipped{switch=\"leaf1\"} 7\n" ) );
   std::string const turns = R"({switch="leaf1",role="agent")";
   EXPECT_THAT( metrics,
                HasSubstr( "\nqorclient_turn_seconds_bucket" + turns + ",le=\"0.001\"} 3\n" +
                           "qorclient_turn_seconds_bucket" + turns + ",le=\"1\"} 8\n" +
                           "qorclient_turn_seconds_bucket" + turns + ",le=\"+Inf\"} 9\n" +
                           "qorclient_turn_seconds_sum" + turns + "} 0.5\n" +
                           "qorclient_turn_seconds_count" + turns + "} 9\n#" ) );
   EXPECT_THAT(
      metrics, HasSubstr( R"(qorclient_flows{switch="leaf1",kind="policy",state="initial"} 10)" ) );
   EXPECT_EQ( Web::labelText( "a\\b\"c\nd\te" ), R"(a\\b\"c\nd?e)" );
   EXPECT_EQ( Web::labelText( "\xff" ), "\xef\xbf\xbd" ) << "the sign for what is no letter";
}

/** Whatever someone asks for is answered, and what is answered is JSON. */
TEST_F( SiteTest, AnyRequestIsAnswered ) {
   patch( policyOf( "web" ) );
   std::mt19937 random( 1 );
   std::vector< std::string > const words{ "",
                                           "flows",
                                           "rules",
                                           "hosts",
                                           "groups",
                                           "l3flows",
                                           "capability",
                                           "vnis",
                                           "learnt",
                                           "tunnels",
                                           "frame",
                                           "chain",
                                           "picture",
                                           "first",
                                           "most",
                                           "search",
                                           "in",
                                           "from",
                                           "to",
                                           "vlan",
                                           "vni",
                                           "ether_type",
                                           "ip_from",
                                           "flow",
                                           "ip_to",
                                           "0",
                                           "-1",
                                           "4095",
                                           "99999999999999999",
                                           "Ethernet1",
                                           "0x",
                                           "Vxlan1",
                                           "arp",
                                           "fe80::1",
                                           "10.0.0.1",
                                           "02:00:00:00:00:0a",
                                           "\xff\xfe\"\\\n",
                                           "ip6",
                                           "state",
                                           "../..",
                                           "web/flow-1",
                                           "protocol",
                                           std::string( 5000, 'x' ) };
   auto const word = [&] { return words[random() % words.size()]; };
   for ( int i = 0; i != 5000; ++i ) {
      Web::Request request{ .path = "/api/" + word(), .host = word(), .authorization = word() };
      for ( auto n = random() % 6; n != 0; --n ) {
         request.query.emplace( word(), word() );
      }
      if ( random() % 2 == 0 ) {
         request.query["in"] = "Ethernet1";
         request.query["from"] = request.query["to"] = "02:00:00:00:00:0a";
      }
      Web::Answer const answer = site.answer( request );
      EXPECT_TRUE( answer.status == 200 || answer.status == 400 || answer.status == 404 );
      EXPECT_NO_THROW( Corestore::parseJson( answer.body ) ) << answer.body;
   }
}

TEST_F( SiteTest, ChangesComeInBundles ) {
   site.follow();
   Web::Events::Reader reader = site.events().begin();
   patch( policyOf( "web" ) );
   device.advance( 0.03 );
   patch( R"({"mlag/config":{"peerLinkIntfId":"Port-Channel1"}})" );
   device.advance( 0.03 );
   std::string text( 1 << 20, '\0' );
   text.resize( site.events().read( reader, text.data(), text.size() ) );
   EXPECT_THAT( text, HasSubstr( R"("policy":)" ) );
   EXPECT_THAT( text, Not( HasSubstr( "Port-Channel1" ) ) ) << "bundles are apart";
   device.advance( 0.2 );
   text.assign( 1 << 20, '\0' );
   text.resize( site.events().read( reader, text.data(), text.size() ) );
   EXPECT_THAT( text, HasSubstr( "Port-Channel1" ) );
   // A scalar at its default again is told as what it is now.
   patch( R"({"mlag/config":{"peerLinkIntfId":""}})" );
   device.advance( 1 );
   EXPECT_THAT(
      get( "/api/changes" ).body,
      HasSubstr(
         R"("path":"mlag/config/peerLinkIntfId","writer":"the MLAG agent","value":"\"\"")" ) );
}

TEST_F( SiteTest, ThePageIsItsOwnFilesAlone ) {
   Web::PageFile const * const page = Web::pageFileAt( "/" );
   ASSERT_TRUE( page );
   EXPECT_EQ( get( "/" ).body, page->text );
   for ( char const * file : { "/app.js", "/style.css", "/icon.svg", "/dom.js" } ) {
      ASSERT_TRUE( Web::pageFileAt( file ) ) << file;
      std::string text( Web::pageFileAt( file )->text );
      EXPECT_THAT( text, Not( HasSubstr( "innerHTML" ) ) ) << file;
      EXPECT_THAT( text, Not( HasSubstr( "https://" ) ) ) << file;
   }
   EXPECT_THAT( std::string( page->text ), Not( HasSubstr( "style=" ) ) );
}

TEST( EventsTest, WhoReadsSlowlyHearsThatItHasMissedSome ) {
   Web::Events events;
   Web::Events::Reader reader = events.begin();
   events.tell( "first", Value::Object() );
   char part[7];
   EXPECT_EQ( events.read( reader, part, sizeof part ), sizeof part );
   EXPECT_EQ( std::string( part, sizeof part ), "event: " );
   for ( int i = 0; i != 200; ++i ) {
      events.tell( "next", Value::Object() );
   }
   char rest[4096];
   std::string const text( rest, events.read( reader, rest, sizeof rest ) );
   EXPECT_EQ( text, "\n\nevent: missed\ndata: null\n\n" );
   EXPECT_EQ( events.read( reader, rest, sizeof rest ), 0U );
}

}  // namespace
