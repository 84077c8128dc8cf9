#pragma once

#include <chrono>
#include <cstdint>
#include <fstream>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "Measure.h"
#include "NearPolicy.h"
#include "RedisClient.h"
#include "live/RedisServer.h"
#include "live/lab/Laboratory.h"
#include "program/LiveState.h"
#include "switch/openflow/Connection.h"

/* An Open vSwitch bridge that is steered as a switch's is: by agent and driver, with Redis between
 * them. */

namespace Bench {

using Live::Process;

inline constexpr char const * bridge = Lab::Laboratory::bridge;
inline constexpr int preLookup = 10;

/** Those of the first fragment. */
inline constexpr std::uint16_t originalVlan = 100;
inline constexpr std::uint16_t serviceVlan = 2000;
/** The first of the near set; two where a host may be; and where all packets leave. */
inline constexpr char const * enteringPort = "Ethernet1";
inline constexpr char const * firstPort = "Ethernet11";
inline constexpr char const * secondPort = "Ethernet12";
inline constexpr char const * leavingPort = "Ethernet13";

inline std::string keyOf( std::string const & path ) {
   return "qor{leaf1}:" + path;
}

inline std::string keyOfFlow( std::string const & name ) {
   return keyOf( "qor/version1/policy/policy/policyFragment/fragment0/flow/" + name );
}

/** A switch with its policy before the agent is wanted, a bridge, and the programs between. */
class Steered {
 public:
   explicit Steered( std::uint32_t fragments )
      : rules_( std::size_t{ fragments } * flowsPerFragment * interfacesPerSet ),
        server_( false ),
        client_( server_.address() ) {
      client_.ask( { "HSET", keyOf( "@state" ), "id", "leaf1", "created", "0" } );
      {
         Program::LiveState state( { server_.address(), "leaf1" } );
         state.open();
         bool const isWritten = state.write( [&] {
            Corestore::EntityManager & em = state.entityManager();
            Bench::enable( em );
            writeNearPolicy( em, fragments );
            Kel::ptrCast< ControllerClient::Status >( em.standing( "mgmt/controller/status" ) )
               ->enabledIs( false );
         } );
         if ( !isWritten ) {
            std::abort();
         }
      }
      lab_.wire( enteringPort );
      for ( int i = 2; i <= interfacesPerSet; ++i ) {
         openVSwitch().addInternalPort( bridge, "Ethernet" + std::to_string( i ) );
      }
      for ( char const * port : { firstPort, secondPort, leavingPort } ) {
         lab_.wire( port );
         openVSwitch().vsctl(
            { "set", "port", port, "vlan_mode=trunk",
              "trunks=" + std::to_string( originalVlan ) + "," + std::to_string( serviceVlan ) } );
      }
      start();
   }

   void start() {
      agent_ = start( QORCLIENT_PROGRAM, { "serve" } );
      driver_ = start( QORSWITCH_PROGRAM, { "openvswitch", "--bridge", bridge, "--run-folder",
                                            openVSwitch().folder() } );
      until( [&] { return driver_->output().find( "is followed" ) != std::string::npos; } );
   }
   void kill() {
      agent_->kill();
      driver_->kill();
   }
   /** Starts both, and yields the seconds until neither has any more work. */
   double restart() {
      using Clock = std::chrono::steady_clock;
      constexpr auto quiet = std::chrono::milliseconds( 200 );
      auto const begun = Clock::now();
      start();
      auto last = Clock::now();
      for ( double used = cpuSeconds(); Clock::now() < last + quiet; ) {
         rest();
         if ( double const now = cpuSeconds(); now != used ) {
            used = now;
            last = Clock::now();
         }
      }
      // Neither has come to rest by ending, or by waiting for its turn.
      std::string const holder = std::to_string( agent_->pid() );
      auto const lease = client_.ask( { "GET", keyOf( "@lease/qorclient" ) } );
      if ( !agent_->isRunning() || !driver_->isRunning() ||
           textOf( *lease ).find( " " + holder + " " ) == std::string_view::npos ) {
         wrong( "agent or driver is not at work" );
      }
      return std::chrono::duration< double >( last - begun ).count();
   }
   void enable() {
      client_.ask( { "HSET", keyOf( "mgmt/controller/status" ), "enabled", "true" } );
   }
   /** Waits until each rule is told as programmed, and yields the seconds until then. */
   double settle() {
      std::string const rule =
         keyOf( "pinflow/dyninput/qor/flowEntry/fragment0_flow0-from-Et1-to-any" );
      return timed( [&] {
         // All rules come in one step, and their answers are the only rows that follow.
         while ( client_.ask( { "EXISTS", rule } )->integer == 0 ) {
            rest();
         }
         auto const all = rows() + static_cast< long long >( rules_ );
         while ( rows() < all ) {
            rest();
         }
      } );
   }
   std::string address() const { return server_.address(); }
   RedisClient & client() { return client_; }
   Live::OpenVSwitch & openVSwitch() { return lab_.openVSwitch(); }
   Lab::Wire const & wire( char const * port ) { return lab_.wire( port ); }
   /** The resident memory of the driver, in bytes. */
   double memory() const {
      std::ifstream in( "/proc/" + std::to_string( driver_->pid() ) + "/status" );
      for ( std::string line; std::getline( in, line ); ) {
         if ( line.starts_with( "VmRSS:" ) ) {
            return 1024 * std::stod( line.substr( 6 ) );
         }
      }
      return 0;
   }
   double agentSeconds() const { return agent_->cpuSeconds(); }
   double driverSeconds() const { return driver_->cpuSeconds(); }
   double cpuSeconds() const { return agentSeconds() + driverSeconds(); }

   template < class F >
   static void until( F && done ) {
      if ( !Live::eventually( done, 60 ) ) {
         std::abort();
      }
   }

 private:
   /** Looking all the time would keep the server from its work. */
   static void rest() { std::this_thread::sleep_for( std::chrono::milliseconds( 2 ) ); }
   long long rows() { return client_.ask( { "DBSIZE" } )->integer; }
   std::unique_ptr< Process > start( std::string const & program,
                                     std::vector< std::string > words ) {
      words.insert( words.begin(), program );
      words.insert( words.end(), { "--redis", server_.address(), "--switch", "leaf1" } );
      return std::make_unique< Process >(
         words, folder_.path() / ( "output" + std::to_string( ++started_ ) ) );
   }

   std::size_t const rules_;
   Live::Folder folder_;
   Live::RedisServer server_;
   RedisClient client_;
   Lab::Laboratory lab_;
   std::unique_ptr< Process > agent_;
   std::unique_ptr< Process > driver_;
   int started_ = 0;
};

/** Some time of a scheduler. */
class Pause : private Orb::Timer {
 public:
   Pause( Orb::TaskScheduler & scheduler, Orb::Seconds seconds ) : scheduler_( scheduler ) {
      scheduler_.arm( *this, scheduler_.now() + seconds );
   }
   ~Pause() override { scheduler_.disarm( *this ); }
   Pause( Pause const & ) = delete;
   Pause & operator=( Pause const & ) = delete;
   bool isOver() const { return isOver_; }

 private:
   void due() override { isOver_ = true; }

   Orb::TaskScheduler & scheduler_;
   bool isOver_ = false;
};

/** Another connection to the bridge, which hears of changed rules. */
class Onlooker {
 public:
   explicit Onlooker( std::string const & socket )
      : scheduler_( new Orb::TaskScheduler( std::make_unique< Orb::RealTime >() ) ),
        connection_(
           scheduler_, socket,
           { .up =
                [this] { connection_.monitorFlows( { preLookup }, [this] { isReady_ = true; } ); },
             .down = []( std::string const & ) {},
             .portChanged = []( OpenFlow::PortChange, OpenFlow::Port const & ) {},
             .flowChanged =
                [this]( OpenFlow::FlowUpdate const & update ) {
                   changes_ += isReady_ ? 1 : 0;
                   last_ = update.event;
                },
             .changesMissed = [] {} } ) {
      scheduler_->run( [this] { return isReady_; } );
   }
   /** Until as many changes have been told since the last call, one more at least. */
   void await( std::size_t count ) {
      scheduler_->run( [&] { return changes_ >= count; } );
      changes_ -= count;
   }
   /** How many have been told since the last call. */
   std::size_t takeChanges() {
      // What the bridge has said is read while time goes by.
      Pause const pause( *scheduler_, 1 );
      scheduler_->run( [&pause] { return pause.isOver(); } );
      return std::exchange( changes_, 0 );
   }

 private:
   Kel::Ptr< Orb::TaskScheduler > scheduler_;
   std::size_t changes_ = 0;
   OpenFlow::FlowUpdate::Event last_{};
   bool isReady_ = false;
   OpenFlow::Connection connection_;
};

}  // namespace Bench
