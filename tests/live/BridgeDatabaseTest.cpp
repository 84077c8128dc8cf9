#include <gtest/gtest.h>

#include <csignal>
#include <memory>
#include <string>

#include "live/OpenVSwitch.h"
#include "switch/ovsdb/Client.h"

namespace Live {

namespace {

using Ovsdb::Json;

/** Makes the scheduler's loop ask again. */
struct Ticker final : Orb::Timer {
   explicit Ticker( Orb::TaskScheduler & at ) : scheduler( at ) { due(); }
   ~Ticker() override { scheduler.disarm( *this ); }
   void due() override { scheduler.arm( *this, scheduler.now() + 0.01 ); }
   Orb::TaskScheduler & scheduler;
};

TEST( BridgeDatabaseTest, FollowsARealSwitchAndGivesItATunnel ) {
   if ( std::string const missing = OpenVSwitch::missing(); !missing.empty() ) {
      GTEST_SKIP() << missing;
   }
   OpenVSwitch openVSwitch;
   std::string const bridge = OpenVSwitch::ownName( "db" );
   Kel::Ptr< Orb::TaskScheduler > const scheduler(
      new Orb::TaskScheduler( std::make_unique< Orb::RealTime >() ) );
   Ticker const ticker( *scheduler );
   int ups = 0;
   int changes = 0;
   std::string lost;
   Ovsdb::Client client( scheduler, openVSwitch.database(), bridge,
                         { .up = [&] { ++ups; },
                           .changed = [&] { ++changes; },
                           .lost = [&]( std::string const & reason ) { lost = reason; } } );
   auto const becomes = [&]( auto const & condition ) {
      Orb::Seconds const end = scheduler->now() + 20;
      scheduler->run( [&] { return condition() || scheduler->now() > end; } );
      return condition();
   };
   auto const port = [&]( std::string const & name ) {
      auto const found = client.ports().find( name );
      return found == client.ports().end() ? Ovsdb::BridgePort{} : found->second;
   };
   EXPECT_TRUE( becomes( [&] { return client.isUp(); } ) ) << lost;
   EXPECT_FALSE( client.bridge().exists );

   openVSwitch.addBridge( bridge );
   openVSwitch.limitTable( bridge, 10, 500 );
   std::string const access = OpenVSwitch::ownName( "acc" );
   int const number = openVSwitch.addInternalPort( bridge, access );
   openVSwitch.vsctl( { "set", "port", access, "tag=100", "vlan_mode=access" } );
   EXPECT_TRUE( becomes( [&] { return port( access ).tag == 100; } ) );
   EXPECT_EQ( port( access ).interfaces.at( 0 ).ofport, number );
   EXPECT_EQ( port( access ).vlanMode, "access" );
   EXPECT_EQ( port( bridge ).interfaces.at( 0 ).ofport, 0xfffffffe );
   EXPECT_EQ( client.bridge().failMode, "secure" );
   EXPECT_EQ( client.bridge().datapathType, "netdev" );
   EXPECT_EQ( client.bridge().protocols,
              ( std::set< std::string >{ "OpenFlow10", "OpenFlow14" } ) );
   EXPECT_EQ( client.bridge().flowTables.at( 10 ), ( Ovsdb::FlowTable{ "", 500, "refuse" } ) );

   // A device that isn't there: the switch says why it has no number.
   std::string const away = OpenVSwitch::ownName( "away" );
   openVSwitch.vsctl( { "add-port", bridge, away } );
   EXPECT_TRUE( becomes( [&] {
      return port( away ).name == away && !port( away ).interfaces.at( 0 ).error.empty();
   } ) );
   EXPECT_FALSE( port( away ).interfaces.at( 0 ).ofport );

   std::string const tunnel = OpenVSwitch::ownName( "vx" );
   std::string done;
   auto const ensure = [&]( std::string const & address ) {
      done = "not yet";
      client.ensureTunnel( tunnel, address,
                           [&]( std::string const & error, Json const & ) { done = error; } );
      EXPECT_TRUE( becomes( [&] { return done != "not yet"; } ) );
      EXPECT_EQ( done, "" );
   };
   ensure( "192.0.2.1" );
   EXPECT_TRUE( becomes(
      [&] { return port( tunnel ).name == tunnel && port( tunnel ).interfaces.at( 0 ).ofport; } ) );
   ensure( "192.0.2.2" );
   EXPECT_TRUE( becomes(
      [&] { return port( tunnel ).interfaces.at( 0 ).options.at( "local_ip" ) == "192.0.2.2"; } ) );
   changes = 0;
   ensure( "192.0.2.2" );
   EXPECT_EQ( changes, 0 );

   // What the database refuses is told in its words, and leaves nothing.
   client.transact(
      { { { "op", "insert" }, { "table", "Interface" }, { "row", { { "name", 7 } } } } },
      [&]( std::string const & error, Json const & ) { done = error; } );
   EXPECT_TRUE( becomes( [&] { return !done.empty(); } ) );
   EXPECT_NE( done.find( "syntax" ), std::string::npos ) << done;

   openVSwitch.vsctl( { "del-br", bridge } );
   EXPECT_TRUE( becomes( [&] { return !client.bridge().exists; } ) );
   EXPECT_EQ( ups, 1 );
   EXPECT_EQ( lost, "" );
}

}  // namespace

}  // namespace Live
