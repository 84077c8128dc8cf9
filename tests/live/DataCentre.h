#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "live/LiveSwitch.h"
#include "live/lab/Laboratory.h"

namespace Live {

/** The data centre of `./dev live`: a bridge with two hosts, a router and a service device, and the
 *  programs that steer it. */
class DataCentre : public testing::Test {
 protected:
   using Station = Lab::Station;
   using Frame = Lab::Frame;
   using Summary = Lab::Stream::Summary;

   static constexpr std::uint16_t originalVlan = 100;
   /** The first of the pool. */
   static constexpr std::uint16_t serviceVlan = 1000;
   static constexpr std::uint32_t originalVni = 10100;
   static constexpr std::uint32_t serviceVni = 20100;
   static constexpr char const * remoteEnd = "192.0.2.9";
   static constexpr int preLookup = 10;
   static constexpr int learntHosts = 32;

   Lab::Mac const macA = Lab::macOf( "02:00:00:00:00:0a" );
   Lab::Mac const macB = Lab::macOf( "02:00:00:00:00:0b" );
   /** Behind the remote end, as the controller says. */
   Lab::Mac const macC = Lab::macOf( "02:00:00:00:00:0c" );
   /** Free to use. */
   Lab::Mac const macD = Lab::macOf( "02:00:00:00:00:0d" );
   Lab::Mac const macE = Lab::macOf( "02:00:00:00:00:0e" );
   /** The virtual router's, too. */
   Lab::Mac const macRouter = Lab::macOf( "02:00:00:00:ff:01" );

   void SetUp() override {
      std::string missing = Lab::Laboratory::missing();
      if ( missing.empty() && !RedisServer::isThere() ) {
         missing = "redis-server is not there";
      }
      if ( !missing.empty() ) {
         GTEST_SKIP() << missing;
      }
      lab = std::make_unique< Lab::Laboratory >();
      a = station( "Ethernet1", macA );
      b = station( "Ethernet2", macB );
      router = station( "Ethernet3", macRouter );
      port( "Ethernet4", { "tag=100" } );
      service = std::make_unique< Lab::ServiceDevice >(
         lab->loop(), port( "Ethernet5", { "vlan_mode=trunk", "trunks=4094" } ),
         port( "Ethernet6", { "vlan_mode=trunk", "trunks=4094" } ), serviceVlan, originalVlan );
      device.init();
      agent = device.serve();
      startDriver();
      applyExample( "data-centre.json" );
      for ( Station * const host : { a.get(), b.get(), router.get() } ) {
         EXPECT_TRUE( introduces( *host ) ) << driver->output();
      }
   }
   void TearDown() override {
      if ( HasFailure() && agent && driver ) {
         std::cerr << agent->output() << driver->output();
      }
   }

   // --- What it is made of ---

   Lab::Wire const & port( std::string const & name, std::vector< std::string > const & options ) {
      Lab::Wire const & wire = lab->wire( name );
      std::vector< std::string > words{ "set", "port", name };
      words.insert( words.end(), options.begin(), options.end() );
      lab->openVSwitch().vsctl( words );
      return wire;
   }
   std::unique_ptr< Station > station( std::string const & name, Lab::Mac const & mac ) {
      return std::make_unique< Station >( lab->loop(), port( name, { "tag=100" } ), mac );
   }
   std::unique_ptr< Station > remote( std::uint32_t vni, Lab::Mac const & mac ) {
      return std::make_unique< Station >( lab->loop(), lab->remote( remoteEnd, vni ), mac );
   }
   void startDriver( bool waits = true ) {
      std::vector< std::string > words{ "--bridge",     Lab::Laboratory::bridge,
                                        "--run-folder", lab->openVSwitch().folder(),
                                        "--vlan-pool",  "1000-1999",
                                        "--vtep",       Lab::Laboratory::localEnd };
      words.insert( words.end(), driverOptions.begin(), driverOptions.end() );
      driver = device.steer( words );
      if ( waits ) {
         EXPECT_TRUE( driverSays( "is followed" ) ) << driver->output();
      }
   }

   // --- What is wanted ---

   void apply( std::string const & document ) {
      ASSERT_EQ( device.apply( document ), 0 ) << device.said();
   }
   void applyExample( std::string const & name ) {
      std::ifstream in( QORCLIENT_SCENARIOS "/../../examples/live/" + name );
      apply( { std::istreambuf_iterator( in ), {} } );
   }
   /** Has the fragment "web" have these members, too. */
   void applyPolicy( std::string const & members ) {
      apply( R"({"qor/version1/policy":{"policy":{"policyFragment":{"web":{)" + members + "}}}}}" );
   }
   /** Has A's frames pass the service. */
   void intercept() {
      applyExample( "intercept.json" );
      EXPECT_TRUE( becomes( "web/from-a", "programmed" ) );
      EXPECT_TRUE( becomes( "web/to-hosts", "programmed" ) );
   }

   // --- What is so ---

   bool becomes( std::string const & flow, std::string const & words ) {
      std::string state;
      bool const is = eventually( [&] {
         state = device.state( flow );
         return state.find( words ) != std::string::npos;
      } );
      EXPECT_TRUE( is ) << flow << " is " << state;
      return is;
   }
   bool driverSays( std::string const & words ) const {
      return eventually( [&] { return driver->output().find( words ) != std::string::npos; } );
   }
   std::string field( std::string const & path, std::string const & name ) {
      return device.server().ask( { "HGET", device.key( path ), name } );
   }
   /** The interface at which the state has a host; "(nil)" for none. */
   std::string learntAt( std::uint16_t vlan, Lab::Mac const & mac ) {
      char text[18];
      std::snprintf( text, sizeof text, "%02x:%02x:%02x:%02x:%02x:%02x", mac[0], mac[1], mac[2],
                     mac[3], mac[4], mac[5] );
      return field( "bridging/status/fdbStatus/" + std::to_string( vlan ) + "|" + text, "intf" );
   }
   bool isLearnt( std::uint16_t vlan, Lab::Mac const & mac, bool isSo = true ) {
      return eventually( [&] { return ( learntAt( vlan, mac ) != "(nil)" ) == isSo; } );
   }
   /** It sends until it is learnt, as a host does: a bridge that gets its flows drops frames. */
   bool introduces( Station & host ) {
      return eventually( [&] {
         host.send( Lab::broadcastFrame( host.mac() ) );
         return learntAt( originalVlan, host.mac() ) != "(nil)";
      } );
   }

   /** So many frames there, each answered. */
   Summary sends( Station & from, Station & to, Frame const & frame, std::uint32_t count = 10,
                  double patience = 3 ) {
      return Lab::Stream( lab->loop(), from, to, frame, 200, count ).end( patience );
   }
   Summary sends( Station & from, Station & to ) {
      return sends( from, to, Lab::plainFrame( from.mac(), to.mac() ) );
   }
   static bool hears( Station & station, Frame const & frame, double patience = 5 ) {
      return eventually(
         [&] {
            return std::ranges::any_of( station.heard(), [&]( Frame const & heard ) {
               return heard.to == frame.to && heard.from == frame.from &&
                      heard.type == frame.type && heard.content.starts_with( frame.content );
            } );
         },
         patience );
   }

   static constexpr Summary passed( std::uint64_t count = 10 ) { return { .sent = count }; }
   /** Without the service. */
   static constexpr Summary direct( std::uint64_t count = 10 ) {
      return { .sent = count, .past = count };
   }
   static constexpr Summary lost( std::uint64_t count = 10 ) {
      return { .sent = count, .lost = count };
   }

   std::vector< std::string > driverOptions;
   std::unique_ptr< Lab::Laboratory > lab;
   LiveSwitch device;
   std::unique_ptr< Station > a;
   std::unique_ptr< Station > b;
   std::unique_ptr< Station > router;
   std::unique_ptr< Lab::ServiceDevice > service;
   std::unique_ptr< Process > agent;
   std::unique_ptr< Process > driver;
};

}  // namespace Live
