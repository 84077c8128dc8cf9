#include "switch/ovsdb/Client.h"

#include <gmock/gmock.h>

#include <memory>
#include <string>
#include <vector>

#include "platform/kel/Value.h"
#include "switch/ovsdb/Peer.h"

namespace Ovsdb {

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

std::vector< std::string > split( std::vector< std::string > const & pieces ) {
   Splitter splitter;
   std::vector< std::string > messages;
   for ( std::string const & piece : pieces ) {
      splitter.add( piece );
      while ( auto message = splitter.next() ) {
         messages.push_back( *message );
      }
   }
   return messages;
}

TEST( SplitterTest, CutsMessagesWhereTheirObjectsEnd ) {
   std::string const first = R"({"a":"}{\"\\","b":[{"c":[]}]})";
   std::string const second = R"({"\\":{}})";
   EXPECT_THAT( split( { first + second } ), ElementsAre( first, second ) );
   EXPECT_THAT( split( { " \n" + first + "\n " + second.substr( 0, 3 ), second.substr( 3 ) } ),
                ElementsAre( first, second ) );
   EXPECT_THAT( split( { first.substr( 0, first.size() - 1 ) } ), IsEmpty() );
   EXPECT_THROW( split( { "{} x" } ), Kel::ValueError );
   EXPECT_THROW( split( { "[]" } ), Kel::ValueError );
   EXPECT_THROW( split( { "{" + std::string( 100, '[' ) } ), Kel::ValueError );
}

/** Two bridges; of br0 the ports are one of each kind. */
constexpr char const * initial = R"({ "id": "bridge", "error": null, "result": {
   "Bridge": { "b0": { "new": { "name": "br0", "datapath_type": "netdev", "fail_mode": "secure",
                         "protocols": ["set", ["OpenFlow10", "OpenFlow14"]],
                         "flow_tables": ["map", [[20, ["uuid", "t"]]]],
                         "ports": ["set", [["uuid", "p1"], ["uuid", "p2"], ["uuid", "p3"],
                                           ["uuid", "away"]]] } },
               "b1": { "new": { "name": "br1", "datapath_type": "", "fail_mode": ["set", []],
                         "protocols": ["set", []], "flow_tables": ["map", []],
                         "ports": ["uuid", "p4"] } } },
   "Flow_Table": { "t": { "new": { "name": ["set", []], "flow_limit": 1000,
                                   "overflow_policy": "refuse" } } },
   "Port": { "p1": { "new": { "name": "eth1", "interfaces": ["uuid", "i1"], "vlan_mode": "access",
                              "tag": 100, "trunks": ["set", []] } },
             "p2": { "new": { "name": "bond", "interfaces": ["set", [["uuid", "i3"], ["uuid", "i2"]]],
                              "vlan_mode": ["set", []], "tag": ["set", []],
                              "trunks": ["set", [100, 200]] } },
             "p3": { "new": { "name": "vx", "interfaces": ["uuid", "i4"], "vlan_mode": ["set", []],
                              "tag": ["set", []], "trunks": 7 } },
             "p4": { "new": { "name": "far", "interfaces": ["uuid", "i5"], "vlan_mode": ["set", []],
                              "tag": ["set", []], "trunks": ["set", []] } } },
   "Interface": {
      "i1": { "new": { "name": "eth1", "type": "", "options": ["map", []], "ofport": ["set", []],
                       "error": ["set", []] } },
      "i2": { "new": { "name": "eth2", "type": "", "options": ["map", []], "ofport": 2,
                       "error": ["set", []] } },
      "i3": { "new": { "name": "eth3", "type": "", "options": ["map", []], "ofport": -1,
                       "error": "no such device" } },
      "i4": { "new": { "name": "vx", "type": "vxlan", "ofport": 9, "error": ["set", []],
                       "options": ["map", [["key", "flow"], ["local_ip", "192.0.2.1"],
                                           ["remote_ip", "flow"]]] } },
      "i5": { "new": { "name": "far", "type": "", "options": ["map", []], "ofport": 1,
                       "error": ["set", []] } } } } })";

std::string update( std::string const & rows ) {
   return R"({"id":null,"method":"update","params":["bridge",)" + rows + "]}";
}

struct ClientTest : testing::Test {
   void connect() {
      peer.accept();
      EXPECT_EQ( peer.heard()["method"], "monitor" );
   }
   void start( std::size_t piece = 65536 ) {
      connect();
      peer.send( initial, piece );
   }
   std::vector< std::string > toldSince() { return std::exchange( told, {} ); }
   Client::Done noted() {
      return
         [this]( std::string const & error, Json const & ) { told.push_back( "done " + error ); };
   }

   Kel::Ptr< Orb::TaskScheduler > scheduler{
      new Orb::TaskScheduler( std::make_unique< Orb::VirtualTime >() ) };
   std::vector< std::string > told;
   Peer peer{ *scheduler };
   Client client{ scheduler,
                  peer.path(),
                  "br0",
                  { .up = [this] { told.emplace_back( "up" ); },
                    .changed = [this] { told.emplace_back( "changed" ); },
                    .lost = [this]( std::string const & reason ) { told.push_back( reason ); } } };
};

TEST_F( ClientTest, FollowsTheBridge ) {
   start( 1 );
   EXPECT_THAT( toldSince(), ElementsAre( "up" ) );
   BridgeInterface const plain{ .name = "", .type = "", .options = {}, .ofport = {}, .error = "" };
   BridgeInterface eth1 = plain, eth2 = plain, eth3 = plain, vx = plain;
   eth1.name = "eth1";
   eth2.name = "eth2";
   eth2.ofport = 2;
   eth3.name = "eth3";
   eth3.error = "no such device";
   vx = { "vx",
          "vxlan",
          { { "key", "flow" }, { "local_ip", "192.0.2.1" }, { "remote_ip", "flow" } },
          9,
          "" };
   Bridge expected{ .exists = true,
                    .datapathType = "netdev",
                    .failMode = "secure",
                    .protocols = { "OpenFlow10", "OpenFlow14" },
                    .flowTables = { { 20, { "", 1000, "refuse" } } },
                    .ports = { { "eth1", { "eth1", { eth1 }, "access", 100, {} } },
                               { "bond", { "bond", { eth2, eth3 }, "", {}, { 100, 200 } } },
                               { "vx", { "vx", { vx }, "", {}, { 7 } } } } };
   EXPECT_EQ( client.bridge(), expected );

   peer.send( update( R"({"Interface":{"i5":{"old":{"ofport":1},"new":{"name":"far","type":"",
      "options":["map",[]],"ofport":3,"error":["set",[]]}}}})" ) );
   EXPECT_THAT( toldSince(), IsEmpty() ) << "that is another bridge's";
   peer.send(
      update( R"({"Interface":{"i1":{"old":{"ofport":["set",[]]},"new":{"name":"eth1","type":"",
      "options":["map",[]],"ofport":1,"error":["set",[]]}},"i2":{"old":{}}}})" ) );
   expected.ports["eth1"].interfaces[0].ofport = 1;
   expected.ports["bond"].interfaces.erase( expected.ports["bond"].interfaces.begin() );
   EXPECT_THAT( toldSince(), ElementsAre( "changed" ) );
   EXPECT_EQ( client.bridge(), expected );
   peer.send( update( R"({"Bridge":{"b0":{"old":{}}}})" ) );
   EXPECT_THAT( toldSince(), ElementsAre( "changed" ) );
   EXPECT_EQ( client.bridge(), Bridge{} );

   // Another server may have another answer.
   peer.close();
   start();
   EXPECT_THAT( toldSince(), ElementsAre( "the server has closed it", "up" ) );
   EXPECT_TRUE( client.bridge().exists );
}

TEST_F( ClientTest, GivesUpAServerThatSpeaksOtherwise ) {
   char const * const bad[] = {
      "nonsense",
      "{\"id\"}",
      "{}",
      R"({"id":"bridge","error":"unknown database","result":null})",
      R"({"id":"bridge","error":null,"result":{"Bridge":[]}})",
      R"({"id":"bridge","error":null,"result":{"Bridge":{"b":{"new":{"name":"br0"}}}}})",
      R"({"id":"bridge","error":null,"result":{"Bridge":{"b":{"new":7}}}})",
      R"({"method":"echo"})" };
   for ( char const * text : bad ) {
      connect();
      peer.send( text );
      EXPECT_FALSE( client.isUp() );
      EXPECT_EQ( peer.heard(), Json::object() ) << text << ": it should be closed";
      peer.close();
   }
   EXPECT_EQ( toldSince().size(), 1 ) << "it is told once";
   start();
   EXPECT_THAT( toldSince(), ElementsAre( "up" ) );
   // Numbers and kinds that no bridge has.
   std::string const row = R"("type":"","options":["map",[]],"error":["set",[]],)";
   for ( char const * text :
         { R"("name":"x","ofport":"1")", R"("name":"x","ofport":4294967295)",
           R"("name":"x","ofport":["set",[1,2]])", R"("name":1,"ofport":1)" } ) {
      peer.send( update( R"({"Interface":{"i1":{"new":{)" + row + text + "}}}}" ) );
      EXPECT_FALSE( client.isUp() ) << text;
      peer.close();
      toldSince();
      start();
   }
   EXPECT_EQ( client.ports().size(), 3 );
}

TEST_F( ClientTest, TransactionsTellTheirErrors ) {
   EXPECT_FALSE( client.transact( Json::array(), noted() ) );
   start();
   toldSince();
   auto const answer = [this]( std::string const & rest ) {
      EXPECT_TRUE( client.transact( Json::array( { { { "op", "comment" } } } ), noted() ) );
      Json const asked = peer.heard();
      EXPECT_EQ( asked["params"].dump(), R"(["Open_vSwitch",{"op":"comment"}])" );
      peer.send( "{\"id\":" + asked["id"].dump() + "," + rest + "}" );
   };
   answer( R"("error":null,"result":[{}])" );
   answer(
      R"("error":null,"result":[{"count":1},{"error":"timed out","details":"so it was"},null])" );
   answer( R"("error":null,"result":[{},{"error":"constraint violation"}])" );
   answer( R"("error":{"error":"unknown database","details":"none"},"result":null)" );
   answer( R"("error":"canceled","result":null)" );
   EXPECT_THAT( toldSince(),
                ElementsAre( "done ", "done timed out: so it was", "done constraint violation",
                             "done unknown database: none", "done canceled" ) );
   // An answer that nobody waits for, and one that never comes.
   peer.send( R"({"id":77,"error":null,"result":[]})" );
   EXPECT_TRUE( client.transact( Json::array(), noted() ) );
   peer.heard();
   peer.close();
   start();
   EXPECT_THAT( toldSince(), ElementsAre( "the server has closed it", "up" ) );
}

TEST_F( ClientTest, ATunnelIsAddedOrMendedOrLeftAlone ) {
   start();
   toldSince();
   EXPECT_TRUE( client.ensureTunnel( "vx", "192.0.2.1", noted() ) );
   EXPECT_THAT( toldSince(), ElementsAre( "done " ) );
   EXPECT_TRUE( client.ensureTunnel( "vx", "192.0.2.2", noted() ) );
   EXPECT_EQ( peer.heard()["params"][1].dump(),
              R"({"op":"update","row":{"options":["map",[["key","flow"],["local_ip","192.0.2.2"],)"
              R"(["remote_ip","flow"]]],"type":"vxlan"},"table":"Interface",)"
              R"("where":[["name","==","vx"]]})" );
   EXPECT_TRUE( client.ensureTunnel( "vx1", "192.0.2.1", noted() ) );
   Json const asked = peer.heard()["params"];
   ASSERT_EQ( asked.size(), 5 );
   EXPECT_EQ( asked[1]["row"]["name"], "vx1" );
   EXPECT_EQ( asked[4]["mutations"].dump(), R"([["ports","insert",["named-uuid","port"]]])" );
}

TEST_F( ClientTest, AServerThatIsSilentIsAskedAndGivenUp ) {
   start();
   toldSince();
   EXPECT_EQ( peer.heardAny()["method"], "echo" );
   peer.send( R"({"id":"echo","result":[],"error":null}{"id":"x","method":"echo","params":[1]})" );
   EXPECT_EQ( peer.heard(), Json::parse( R"({"id":"x","result":[1],"error":null})" ) );
   scheduler->run( [this] { return !client.isUp(); } );
   EXPECT_THAT( toldSince(), ElementsAre( "no answer" ) );
}

}  // namespace

}  // namespace Ovsdb
