#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <fstream>
#include <random>
#include <thread>
#include <vector>

#include "live/HttpClient.h"
#include "live/LiveSwitch.h"

/* The page of a live switch, as its clients have it. */

namespace {

using Live::eventually;
using Live::HttpClient;
using Live::httpGet;
using Live::LiveSwitch;
using Live::Process;
using testing::HasSubstr;
using testing::StartsWith;

class WebTest : public testing::Test {
 protected:
   void SetUp() override {
      if ( !Live::RedisServer::isThere() ) {
         GTEST_SKIP() << "redis-server is not there";
      }
      device.init();
      agent = device.serve();
      hardware = device.simulate();
      page = device.web( { "--listen", "unix:" + socket() } );
      ASSERT_TRUE( eventually( [&] { return isLive(); } ) ) << page->output();
      ASSERT_EQ( device.apply( LiveSwitch::policy ), 0 ) << device.said();
      ASSERT_TRUE( eventually( [&] {
         return get( "/api/flows" ).find( R"("state":"programmed")" ) != std::string::npos;
      } ) )
         << get( "/api/flows" );
   }
   std::string socket() const { return folder.path() / "page"; }
   std::string get( std::string const & what ) const { return httpGet( socket(), what ); }
   bool isLive() const {
      return get( "/metrics" ).find( "qorclient_state_followed{switch=\"leaf1\"} 1" ) !=
             std::string::npos;
   }
   /** A page that listens. */
   void listen( HttpClient & client ) const {
      client.send( "GET /events HTTP/1.1\r\nHost: page\r\n\r\n" );
      EXPECT_THAT( client.readTo( "\"there\":" ), HasSubstr( "text/event-stream" ) );
      client.forget();
   }
   std::string member( std::string const & intf ) const {
      return device.key( "qor/version1/policy/policy/policyFragment/f/serviceIntfSet/near/intf/" +
                         intf );
   }

   Live::Folder folder;
   LiveSwitch device;
   std::unique_ptr< Process > agent;
   std::unique_ptr< Process > hardware;
   std::unique_ptr< Process > page;
};

TEST_F( WebTest, TellsAChangeAtOnceAndChangesNothing ) {
   std::string const answer = get( "/" );
   EXPECT_THAT( answer, StartsWith( "HTTP/1.1 200 OK\r\n" ) );
   EXPECT_THAT( answer, HasSubstr( "\r\nContent-Security-Policy: default-src 'none';" ) );
   EXPECT_THAT( answer, HasSubstr( "\r\nX-Content-Type-Options: nosniff\r\n" ) );
   HttpClient posting( socket() );
   posting.send( "POST /api/flows HTTP/1.1\r\nHost: page\r\nContent-Length: 1000000\r\n\r\nx" );
   EXPECT_THAT( posting.readTo( "\r\n\r\n" ), StartsWith( "HTTP/1.1 405 " ) );
   EXPECT_THAT( httpGet( socket(), "/", "X: " + std::string( 100000, 'x' ) + "\r\n" ),
                testing::Not( HasSubstr( " 200 " ) ) );

   std::mt19937 random( 1 );
   for ( int i = 0; i != 300; ++i ) {
      std::string text = "GET /api/flows?search=%00&state=%ff HTTP/1.1\r\nHost: page\r\n\r\n";
      for ( auto n = random() % 8; n != 0; --n ) {
         text[random() % text.size()] = static_cast< char >( random() );
      }
      HttpClient( socket() ).send( text );
   }
   EXPECT_THAT( get( "/api/flows" ), StartsWith( "HTTP/1.1 200" ) );

   HttpClient client( socket() );
   listen( client );
   std::vector< double > seconds;
   for ( int i = 0; i != 11; ++i ) {
      std::string const intf = "Ethernet" + std::to_string( 20 + i );
      auto const began = std::chrono::steady_clock::now();
      device.server().ask( { "SET", member( intf ), "true" } );
      client.readTo( "/near/intf/" + intf );
      seconds.push_back(
         std::chrono::duration< double >( std::chrono::steady_clock::now() - began ).count() );
      client.readTo( "flowEntry/f_web-from-" );
      client.forget();
      // Bundles are apart; the first one behind a pause comes at once.
      std::string const later = client.readTo( "nothing", 0.3 );
   }
   std::ranges::sort( seconds );
   EXPECT_LT( seconds[seconds.size() / 2], 0.1 );
   EXPECT_EQ( device.run( { "audit" } ), 0 ) << device.said();
}

TEST_F( WebTest, SlowAndManyClientsHoldUpNobody ) {
   std::vector< std::unique_ptr< HttpClient > > silent;
   for ( int i = 0; i != 400; ++i ) {
      silent.push_back( std::make_unique< HttpClient >( socket() ) );
      silent.back()->send( "GET / HTTP/1.1\r\nHos" );
   }
   EXPECT_THAT( get( "/api/flows" ), StartsWith( "HTTP/1.1 200" ) );
   int answered = 0;
   for ( int i = 0; i != 10000; ++i ) {
      HttpClient const brief( socket() );
      answered += brief.isThere();
   }
   EXPECT_EQ( answered, 10000 );
   EXPECT_THAT( get( "/api/flows" ), StartsWith( "HTTP/1.1 200" ) );
   // Pages that are open stay; there is no room for any number of them.
   silent.clear();
   std::vector< std::unique_ptr< HttpClient > > pages;
   for ( int i = 0; i != 64; ++i ) {
      pages.push_back( std::make_unique< HttpClient >( socket() ) );
      listen( *pages.back() );
   }
   EXPECT_THAT( get( "/events" ), StartsWith( "HTTP/1.1 503" ) );
   device.server().ask( { "SET", member( "Ethernet7" ), "true" } );
   for ( auto const & client : pages ) {
      EXPECT_THAT( client->readTo( "/near/intf/Ethernet7" ), HasSubstr( "/near/intf/Ethernet7" ) );
   }
   // Those that go make room at once.
   pages.clear();
   EXPECT_TRUE( eventually(
      [&] {
         HttpClient client( socket() );
         client.send( "GET /events HTTP/1.1\r\nHost: page\r\n\r\n" );
         return client.readTo( "\r\n" ).starts_with( "HTTP/1.1 200" );
      },
      5 ) );
   EXPECT_TRUE( page->isRunning() );
   EXPECT_LT( page->cpuSeconds(), 10 );
   // One that sends a head without an end is let go, however much others ask for.
   HttpClient drop( socket() );
   for ( int i = 0; i != 14; ++i ) {
      drop.send( i ? "x" : "GET / HTTP/1.1\r\nX: " );
      for ( int k = 0; k != 5; ++k ) {
         EXPECT_THAT( get( "/icon.svg" ), StartsWith( "HTTP/1.1 200" ) );
         drop.readTo( "nothing", 0.2 );
      }
   }
   drop.send( "\r\nHost: page\r\n\r\n" );
   EXPECT_EQ( drop.readTo( "HTTP", 1 ), "" );
}

/** As many clients at once as this process may have descriptors: the server lets few stand. */
TEST_F( WebTest, AFloodOverTcpHoldsUpNobody ) {
   constexpr std::uint16_t port = 18998;
   auto const open =
      device.web( { "--listen", "127.0.0.1:" + std::to_string( port ), "--name", "page" } );
   ASSERT_TRUE( eventually( [&] { return HttpClient( port ).isThere(); } ) ) << open->output();
   rlimit before{};
   ASSERT_EQ( ::getrlimit( RLIMIT_NOFILE, &before ), 0 );
   rlimit const all{ std::min< rlim_t >( before.rlim_max, 10'000 ), before.rlim_max };
   ::setrlimit( RLIMIT_NOFILE, &all );
   sockaddr_in const address = HttpClient::loopback( port );
   std::vector< int > flood;
   for ( int fd;
         ( fd = ::socket( AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0 ) ) != -1; ) {
      ::connect( fd, reinterpret_cast< sockaddr const * >( &address ), sizeof address );
      flood.push_back( fd );
   }
   // One descriptor for who asks.
   ::close( flood.back() );
   flood.pop_back();
   EXPECT_TRUE(
      eventually( [&] { return httpGet( port, "/icon.svg" ).starts_with( "HTTP/1.1 200" ); } ) );
   for ( int const fd : flood ) {
      ::close( fd );
   }
   ::setrlimit( RLIMIT_NOFILE, &before );
   EXPECT_GT( flood.size(), 500U );
   EXPECT_TRUE( open->isRunning() );
}

TEST_F( WebTest, TellsThatTheEngineIsLostAndBack ) {
   HttpClient client( socket() );
   listen( client );
   // Until the agent has told of all that it has written.
   std::this_thread::sleep_for( std::chrono::milliseconds( 1500 ) );
   device.server().kill();
   EXPECT_THAT( client.readTo( R"("there":false)" ), HasSubstr( R"("there":false)" ) );
   EXPECT_THAT( get( "/api/flows" ), HasSubstr( R"("state":"programmed")" ) ) << "as it stood";
   client.forget();
   device.server().start();
   EXPECT_THAT( client.readTo( R"("there":true)" ), HasSubstr( R"("there":true)" ) );
   // The agent tells of it, too, though it has nothing else to tell.
   std::string const reconnects =
      R"(qorclient_reconnects_total{switch="leaf1",role="qorclient"} 1)";
   EXPECT_TRUE(
      eventually( [&] { return get( "/metrics" ).find( reconnects ) != std::string::npos; }, 5 ) );
   page->signal( SIGTERM );
   EXPECT_EQ( page->ended(), 0 ) << page->output();
   // Without an engine the page says so.
   device.server().kill();
   page = device.web( { "--listen", "unix:" + socket() } );
   EXPECT_TRUE( eventually( [&] {
      return get( "/metrics" ).find( "qorclient_state_followed{switch=\"leaf1\"} 0" ) !=
             std::string::npos;
   } ) );
   device.server().start();
   EXPECT_TRUE( eventually( [&] { return isLive(); } ) ) << page->output();
}

TEST_F( WebTest, OthersNeedTheToken ) {
   auto refused = device.web( { "--listen", "0.0.0.0:18999" } );
   EXPECT_EQ( refused->ended(), 2 );
   EXPECT_THAT( refused->output(), HasSubstr( "--token-file" ) );
   std::string const file = folder.path() / "token";
   std::ofstream( file ) << "short\n";
   EXPECT_EQ( device.web( { "--listen", "unix:" + socket() + "2", "--token-file", file } )->ended(),
              2 );
   std::ofstream( file ) << "0123456789abcdef\n";
   auto const guarded =
      device.web( { "--listen", "unix:" + socket() + "2", "--token-file", file } );
   ASSERT_TRUE( eventually( [&] { return !httpGet( socket() + "2", "/" ).empty(); } ) );
   EXPECT_THAT( httpGet( socket() + "2", "/metrics" ), StartsWith( "HTTP/1.1 401" ) );
   EXPECT_THAT( httpGet( socket() + "2", "/metrics", "Authorization: Bearer 0123456789abcdef\r\n" ),
                StartsWith( "HTTP/1.1 200" ) );
   struct stat mode {};
   ASSERT_EQ( ::stat( socket().c_str(), &mode ), 0 );
   EXPECT_EQ( mode.st_mode & 0777, 0660U );
}

/** A change of a plain value is shown as any other. */
TEST_F( WebTest, WatchBearsPlainValues ) {
   auto const watcher = device.watch();
   auto const tells = [&]( std::string const & words ) {
      return eventually( [&] { return watcher->output().find( words ) != std::string::npos; } );
   };
   // It may begin behind the first one.
   EXPECT_TRUE( eventually( [&] {
      device.server().ask( { "SET", member( "Ethernet7" ), "true" } );
      device.server().ask( { "DEL", member( "Ethernet7" ) } );
      return !watcher->output().empty();
   } ) );
   device.server().ask(
      { "HSET", device.key( "mlag/config" ), "peerLinkIntfId", "\"Port-Channel9\"" } );
   EXPECT_TRUE( tells( "mlag/config/peerLinkIntfId  \"Port-Channel9\"" ) ) << watcher->output();
   device.server().ask( { "DEL", device.key( "mlag/config" ) } );
   EXPECT_TRUE( tells( "mlag/config/peerLinkIntfId  \"\"" ) ) << watcher->output();
   EXPECT_TRUE( watcher->isRunning() );
}

}  // namespace
