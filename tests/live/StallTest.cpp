#include <gtest/gtest.h>
#include <hiredis/hiredis.h>
#include <sys/resource.h>

#include <atomic>
#include <csignal>
#include <thread>

#include "live/LiveSwitch.h"

/* Those who stand still, and a server that others keep busy: the agent goes on, loses nothing and
 * doesn't run in circles meanwhile. */

namespace {

using Live::eventually;
using Live::LiveSwitch;
using Live::Process;

/** A connection that a test holds open. */
class Client {
 public:
   explicit Client( std::string const & socket ) : context_( redisConnectUnix( socket.c_str() ) ) {}
   ~Client() { redisFree( context_ ); }
   Client( Client const & ) = delete;
   Client & operator=( Client const & ) = delete;

   bool isThere() const { return context_ && !context_->err; }
   /** Sends a command and does not wait for its answer. */
   void send( std::vector< char const * > words ) {
      redisAppendCommandArgv( context_, static_cast< int >( words.size() ), words.data(), nullptr );
      int done = 0;
      while ( !done && redisBufferWrite( context_, &done ) == REDIS_OK ) {
      }
   }

 private:
   redisContext * context_;
};

class StallTest : public testing::Test {
 protected:
   void SetUp() override {
      if ( !Live::RedisServer::isThere() ) {
         GTEST_SKIP() << "redis-server is not there";
      }
      device.init();
      agent = device.serve();
      hardware = device.simulate();
      ASSERT_EQ( device.apply( LiveSwitch::policy ), 0 ) << device.said();
      ASSERT_TRUE( eventually( [&] { return device.state( "web" ) == "programmed"; } ) )
         << agent->output();
   }
   std::string member( std::string const & intf ) const {
      return device.key( "qor/version1/policy/policy/policyFragment/f/serviceIntfSet/near/intf/" +
                         intf );
   }
   /** A change comes, and the agent answers it. */
   void goesOn() {
      std::size_t const rules = device.rules();
      device.server().ask( { "SET", member( "Ethernet7" ), "true" } );
      EXPECT_TRUE( eventually( [&] { return device.rules() == rules + 1; } ) ) << agent->output();
      device.server().ask( { "DEL", member( "Ethernet7" ) } );
      EXPECT_TRUE( eventually( [&] { return device.rules() == rules; } ) ) << agent->output();
      EXPECT_TRUE( eventually( [&] { return device.run( { "audit" } ) == 0; } ) ) << device.said();
   }

   LiveSwitch device;
   std::unique_ptr< Process > agent;
   std::unique_ptr< Process > hardware;
};

TEST_F( StallTest, ReadersThatDoNotRead ) {
   std::string const socket = device.server().address().substr( 5 );
   std::vector< std::unique_ptr< Client > > stopped;
   for ( int i = 0; i != 20; ++i ) {
      stopped.push_back( std::make_unique< Client >( socket ) );
      stopped.back()->send( { "HELLO", "3" } );
      stopped.back()->send( { "CLIENT", "TRACKING", "ON", "BCAST" } );
   }
   // More than their sockets take.
   std::string const key = member( std::string( 2000, 'x' ) );
   for ( int i = 0; i != 1000; ++i ) {
      device.server().ask( { "SET", key, "perhaps" } );
   }
   device.server().ask( { "DEL", key } );
   double const before = agent->cpuSeconds();
   goesOn();
   std::this_thread::sleep_for( std::chrono::seconds( 1 ) );
   EXPECT_LT( agent->cpuSeconds() - before, 0.5 );
}

TEST_F( StallTest, AThousandConnections ) {
   rlimit files{};
   ::getrlimit( RLIMIT_NOFILE, &files );
   files.rlim_cur = files.rlim_max;
   ::setrlimit( RLIMIT_NOFILE, &files );
   std::string const socket = device.server().address().substr( 5 );
   std::vector< std::unique_ptr< Client > > clients;
   for ( int i = 0; i != 1000; ++i ) {
      clients.emplace_back();
      // The server takes them more slowly than they come.
      ASSERT_TRUE( eventually( [&] {
         clients.back() = std::make_unique< Client >( socket );
         return clients.back()->isThere();
      } ) )
         << i;
      clients.back()->send( { "HELLO", "3" } );
      clients.back()->send( { "CLIENT", "TRACKING", "ON", "BCAST" } );
   }
   goesOn();
}

TEST_F( StallTest, AServerThatStandsStillForTenSeconds ) {
   double const before = agent->cpuSeconds();
   device.server().signal( SIGSTOP );
   std::this_thread::sleep_for( std::chrono::seconds( 10 ) );
   EXPECT_LT( agent->cpuSeconds() - before, 0.1 );
   device.server().signal( SIGCONT );
   goesOn();
   EXPECT_TRUE( agent->isRunning() );
}

TEST_F( StallTest, AScriptThatHoldsTheServer ) {
   double const before = agent->cpuSeconds();
   Client busy( device.server().address().substr( 5 ) );
   busy.send( { "EVAL", R"(
      local function now() local t = redis.call( 'TIME' ) return t[1] + t[2] / 1000000 end
      local stop = now() + 1.2
      while now() < stop do end )",
                "0" } );
   std::this_thread::sleep_for( std::chrono::milliseconds( 100 ) );
   goesOn();
   EXPECT_LT( agent->cpuSeconds() - before, 0.3 );
   EXPECT_EQ( agent->output().find( "waited for" ), std::string::npos ) << agent->output();
}

TEST_F( StallTest, AnAgentThatEndsAmidChangesLeavesTheLeaseToTheNextOne ) {
   std::atomic< bool > over = false;
   std::thread hand( [&, key = member( "Ethernet7" )] {
      Client client( device.server().address().substr( 5 ) );
      for ( bool stands = false; !over; stands = !stands ) {
         stands ? client.send( { "DEL", key.c_str() } )
                : client.send( { "SET", key.c_str(), "true" } );
         std::this_thread::sleep_for( std::chrono::microseconds( 200 ) );
      }
   } );
   for ( int i = 0; i != 10; ++i ) {
      auto next = device.serve();
      auto const says = [&]( char const * words ) {
         return eventually( [&] { return next->output().find( words ) != std::string::npos; } );
      };
      EXPECT_TRUE( says( "is served by process" ) ) << next->output();
      agent->signal( SIGTERM );
      EXPECT_TRUE( says( "serves switch" ) ) << next->output();
      EXPECT_EQ( agent->ended(), 0 ) << agent->output();
      agent = std::move( next );
   }
   over = true;
   hand.join();
   bool held = true;
   for ( Live::RedisServer::Words const & words : device.server().written() ) {
      bool const isLease = words.size() > 1 && words[1] == device.key( "@lease/qorclient" );
      held = isLease ? words[0] != "DEL" : held;
      EXPECT_TRUE( held || words.size() < 2 || words[1] != device.key( "@turn/qorclient" ) );
   }
   device.server().ask( { "DEL", member( "Ethernet7" ) } );
   EXPECT_TRUE( eventually( [&] { return device.rules() == 1; } ) ) << agent->output();
   goesOn();
}

}  // namespace
