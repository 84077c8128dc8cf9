#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include "live/LiveSwitch.h"

/* Servers in cluster mode, on ports of the loopback interface. */

namespace {

using Live::eventually;
using Live::LiveSwitch;
using Live::RedisServer;

bool isFree( int port ) {
   int const fd = ::socket( AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0 );
   sockaddr_in address{};
   address.sin_family = AF_INET;
   address.sin_port = htons( static_cast< std::uint16_t >( port ) );
   address.sin_addr.s_addr = htonl( INADDR_LOOPBACK );
   bool const bound = ::bind( fd, reinterpret_cast< sockaddr * >( &address ), sizeof address ) == 0;
   ::close( fd );
   return bound;
}

/** One that is free, as is that of the cluster's own talk behind it. */
int freePort() {
   static int port = 20000 + ::getpid() % 20000;
   do {
      ++port;
   } while ( !isFree( port ) || !isFree( port + 10000 ) );
   return port;
}

struct Node {
   int port = freePort();
   RedisServer server{
      true,
      { "--port", std::to_string( port ), "--bind", "127.0.0.1", "--cluster-enabled", "yes",
        "--cluster-node-timeout", "1000", "--repl-diskless-sync-delay", "0" } };

   std::string address() const { return "127.0.0.1:" + std::to_string( port ); }
};

class ClusterTest : public testing::Test {
 protected:
   void SetUp() override {
      if ( !RedisServer::isThere() ) {
         GTEST_SKIP() << "redis-server is not there";
      }
      device.emplace( false );
      ask( master, { "CLUSTER", "ADDSLOTSRANGE", "0", "16383" } );
      for ( Node * node : { &replica, &other } ) {
         ask( *node, { "CLUSTER", "MEET", "127.0.0.1", std::to_string( master.port ) } );
      }
      ASSERT_TRUE( eventually( [this] {
         return std::ranges::all_of(
            std::initializer_list< Node * >{ &master, &replica, &other }, []( Node * node ) {
               std::string const info = ask( *node, { "CLUSTER", "INFO" } );
               return info.find( "cluster_state:ok" ) != info.npos &&
                      info.find( "known_nodes:3" ) != info.npos;
            } );
      } ) )
         << ask( other, { "CLUSTER", "INFO" } );
      ask( replica, { "CLUSTER", "REPLICATE", ask( master, { "CLUSTER", "MYID" } ) } );
      ASSERT_TRUE( eventually( [this] {
         std::string const slots = ask( other, { "CLUSTER", "SLOTS" } );
         return ask( replica, { "INFO", "replication" } ).find( "master_link_status:up" ) !=
                   std::string::npos &&
                slots.find( std::to_string( replica.port ) ) != slots.npos;
      } ) );
      // It has none of the slots.
      device->addressIs( other.address() );
   }
   static std::string ask( Node & node, RedisServer::Words const & words ) {
      return node.server.ask( words );
   }

   std::optional< LiveSwitch > device;
   Node master;
   Node replica;
   Node other;
};

TEST_F( ClusterTest, TheSlotsServerIsFoundAndItsFailoverSurvived ) {
   device->init();
   auto const agent = device->serve();
   auto const hardware = device->simulate();
   ASSERT_EQ( device->apply( LiveSwitch::policy ), 0 ) << device->said();
   ASSERT_TRUE( eventually( [&] { return device->state( "web" ) == "programmed"; } ) )
      << agent->output() << hardware->output();
   EXPECT_EQ( device->run( { "audit" } ), 0 ) << device->said();
   EXPECT_EQ( agent->output().find( "MOVED" ), std::string::npos ) << agent->output();

   auto const goesOn = [&]( Node & node, std::string const & intf ) {
      std::string const member = device->key(
         "qor/version1/policy/policy/policyFragment/f/serviceIntfSet/near/intf/" + intf );
      std::string const rule = device->key( "pinflow/dyninput/qor/flowEntry/f_web-from-" +
                                            intf.substr( 0, 2 ) + intf.substr( 8 ) + "-to-any" );
      EXPECT_TRUE( eventually( [&] { return ask( node, { "SET", member, "true" } ) == "OK"; } ) );
      EXPECT_TRUE( eventually( [&] {
         return ask( node, { "EXISTS", rule } ) == "1";
      } ) )
         << agent->output();
      ask( node, { "DEL", member } );
      EXPECT_TRUE( eventually( [&] { return ask( node, { "EXISTS", rule } ) == "0"; } ) );
      EXPECT_TRUE( eventually( [&] { return device->run( { "audit" } ) == 0; } ) )
         << device->said();
   };
   goesOn( master, "Ethernet7" );

   // Both live on, and change places.
   EXPECT_EQ( ask( replica, { "CLUSTER", "FAILOVER", "TAKEOVER" } ), "OK" );
   goesOn( replica, "Ethernet8" );

   // The other way round, by a death.
   ASSERT_TRUE( eventually( [&] {
      return ask( master, { "INFO", "replication" } ).find( "master_link_status:up" ) !=
             std::string::npos;
   } ) );
   replica.server.kill();
   ASSERT_TRUE( eventually( [&] {
      return ask( master, { "CLUSTER", "FAILOVER", "TAKEOVER" } ) == "OK";
   } ) );
   goesOn( master, "Ethernet9" );
   EXPECT_EQ( device->run( { "audit" } ), 0 ) << device->said();
   EXPECT_TRUE( agent->isRunning() && hardware->isRunning() );
}

}  // namespace
