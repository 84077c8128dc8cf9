#include <gtest/gtest.h>

#include <fcntl.h>
#include <linux/if_packet.h>
#include <net/if.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdlib>
#include <optional>
#include <random>
#include <thread>

#include "live/JsonText.h"
#include "live/LiveSwitch.h"
#include "live/OpenVSwitch.h"
#include "live/WantedLines.h"
#include "platform/corestore/ValueText.h"

/*
 * The switch agrees with the state: whatever happened, the flows of a bridge, as its own tool reads
 * them, are those that the state asks for, each rule is answered as the bridge has it, and frames
 * leave where trace-packet says.
 *
 * QORCLIENT_SWITCH_HISTORIES=N plays N histories (60), from the seed QORCLIENT_SWITCH_SEED=N on
 * (1).
 */

namespace {

using Live::at;
using Live::BridgeState;
using Live::LiveSwitch;
using Live::OpenVSwitch;
using Live::Process;
using Live::WantedLines;

constexpr int steps = 5;
constexpr char const * bridge = "br0";

std::uint64_t numberOf( char const * variable, std::uint64_t otherwise ) {
   char const * const text = std::getenv( variable );
   return text ? std::strtoull( text, nullptr, 10 ) : otherwise;
}

/** Sends a frame as whoever is behind a port of the bridge. */
void send( std::string const & netNamespace, std::string const & port, std::string const & frame ) {
   std::thread( [&] {
      int const space = ::open( ( "/run/netns/" + netNamespace ).c_str(), O_RDONLY | O_CLOEXEC );
      bool const isThere = ::setns( space, CLONE_NEWNET ) == 0;
      ::close( space );
      int const socket = ::socket( AF_PACKET, SOCK_RAW, 0 );
      ifreq request{};
      port.copy( request.ifr_name, IFNAMSIZ - 1 );
      sockaddr_ll to{};
      to.sll_family = AF_PACKET;
      to.sll_ifindex = static_cast< int >( ::if_nametoindex( port.c_str() ) );
      bool isSent = isThere && ::ioctl( socket, SIOCGIFFLAGS, &request ) == 0;
      if ( isSent && !( request.ifr_flags & IFF_UP ) ) {
         request.ifr_flags = static_cast< short >( request.ifr_flags | IFF_UP );
         isSent = ::ioctl( socket, SIOCSIFFLAGS, &request ) == 0;
      }
      isSent = isSent && ::sendto( socket, frame.data(), frame.size(), 0,
                                   reinterpret_cast< sockaddr const * >( &to ), sizeof to ) > 0;
      ::close( socket );
      EXPECT_TRUE( isSent ) << port;
   } ).join();
}

/** A frame that nobody sends: trace-packet and the bridge tell what would become of it. */
struct Probe {
   /** A port's name, or the tunnel interface's. */
   std::string in;
   std::string from;
   std::string to;
   std::optional< int > vlan = {};
   /** Of one that comes through the tunnel. */
   std::optional< int > vni = {};
   std::string kind = "ip";

   std::vector< std::string > options( std::string const & runFolder ) const {
      std::vector< std::string > words{
         "trace-packet", "--in", in,         "--from", from,           "--to",   to,
         "--ether-type", kind,   "--bridge", bridge,   "--run-folder", runFolder };
      if ( vlan ) {
         words.insert( words.end(), { "--vlan", std::to_string( *vlan ) } );
      }
      if ( vni ) {
         words.insert( words.end(), { "--vni", std::to_string( *vni ) } );
      }
      return words;
   }
};

/** What happens to one switch, by a seed. */
class History {
 public:
   History( std::uint64_t seed, LiveSwitch & device, OpenVSwitch & vswitch )
      : random_( seed ), device_( device ), vswitch_( vswitch ) {}
   ~History() {
      driver_ = nullptr;
      vswitch_.vsctl( { "--if-exists", "del-br", bridge } );
   }

   void begin() {
      device_.server().ask( { "FLUSHALL" } );
      device_.init();
      vswitch_.addBridge( bridge );
      std::vector< std::string > words;
      for ( int port = 1; port <= ports; ++port ) {
         std::vector< std::string > const more = portCommand( port, true );
         words.insert( words.end(), more.begin(), more.end() );
      }
      configure( words );
      startAgent();
      startDriver();
      // Without ports nothing can differ.
      EXPECT_TRUE( Live::eventually(
         [&] { return driver_->output().find( "is followed" ) != std::string::npos; } ) );
      apply( R"({
         "interface/status/eth/vxlan": { "vtiStatus": { "Vxlan1": {
            "vlanToVniMap": { "100": { "vni": 10100 } } } } },
         "pinflow/pfHwStatusDir/dyninputstatus/qor": { "arpRuleRequired": true },
         "routing/fhrp/vrMacStatus": { "virtualRouterMac": "02:00:00:00:ff:01" },
         "mgmt/controller/status": { "enabled": true,
            "leaderServiceStatusDir": { "service": { "Qor": { "enabled": true } } } } })" );
      policy();
   }

   /** One thing, or several at a time. */
   void step() {
      do {
         somethingHappens();
      } while ( oneIn( 3 ) );
   }

   /** What stays different though nothing happens; empty when all agrees. */
   std::string disagreements() {
      std::string found;
      Live::eventually(
         [&] {
            read();
            found = WantedLines( state_, now_ ).disagreements();
            return found.empty();
         },
         20 );
      return found;
   }
   /** The same for a frame. */
   std::string frame() {
      Probe const probe = randomProbe();
      std::string found;
      if ( WantedLines( state_, now_ ).isOpen( probe.in ) ) {
         return found;
      }
      ++frames_;
      Live::eventually(
         [&] {
            found = compareFrame( probe );
            if ( !found.empty() ) {
               read();
            }
            return found.empty();
         },
         20 );
      return found;
   }

   /** What has happened so far. */
   std::string const & story() const { return story_; }
   std::string said() const {
      return "agent:\n" + ( agent_ ? agent_->output() : "" ) + "driver:\n" +
             ( driver_ ? driver_->output() : "" );
   }
   bool isAlive() { return agent_->isRunning() && driver_->isRunning(); }
   std::size_t frames() const { return frames_; }
   std::map< std::uint64_t, int > answers() const { return WantedLines( state_, now_ ).answers(); }

 private:
   static constexpr int ports = 7;
   static constexpr int firstServicePort = 5;

   bool oneIn( std::uint64_t chances ) { return random_() % chances == 0; }
   std::string oneOf( std::vector< std::string > const & choices ) {
      return choices[random_() % choices.size()];
   }
   static std::string portName( int port ) { return "Ethernet" + std::to_string( port ); }
   std::string aPort() { return portName( 1 + static_cast< int >( random_() % ports ) ); }
   std::string aHost() { return "02:00:00:00:00:0" + oneOf( { "a", "b", "c", "d" } ); }
   void told( std::string const & what ) { story_ += what + "\n"; }

   // --- What happens ---

   void somethingHappens() {
      switch ( random_() % 16 ) {
         case 0:
         case 1:
         case 2:
            return policy();
         case 3:
         case 4:
         case 5:
            return hosts();
         case 6:
         case 7:
            return portChanges();
         case 8:
            return portGoesOrComes();
         case 9:
            return vniMap();
         case 10:
         case 11:
            return controller();
         case 12:
            return limit();
         case 13:
            return foreignHand();
         case 14:
            told( "driver killed" );
            driver_ = nullptr;
            return startDriver();
         default:
            told( "agent killed" );
            agent_ = nullptr;
            return startAgent();
      }
   }

   void startAgent() { agent_ = device_.serve(); }
   void startDriver() {
      driver_ = device_.steer( { "--bridge", bridge, "--run-folder", vswitch_.folder(), "--vtep",
                                 "192.0.2.1", "--vlan-pool", "1000-1999" } );
   }
   void apply( std::string const & document ) {
      told( "apply " + document );
      EXPECT_EQ( device_.apply( document ), 0 ) << device_.said();
   }
   void configure( std::vector< std::string > const & words ) {
      std::string text = "vsctl";
      for ( std::string const & word : words ) {
         text += " " + word;
      }
      told( text );
      vswitch_.vsctl( words );
   }

   std::string orNull( std::string const & value, std::uint64_t chances ) {
      return oneIn( chances ) ? "null" : value;
   }
   std::string intfs() {
      std::string text;
      for ( int port = firstServicePort; port <= ports; ++port ) {
         text += ( text.empty() ? "\"" : ", \"" ) + portName( port ) + "\": " + orNull( "true", 2 );
      }
      return R"({ "intf": { )" + text + " } }";
   }
   std::string flow( std::string const & name, std::string const & match, std::uint64_t from,
                     std::uint64_t to, std::string const & more ) {
      return "\"" + name + "\": " +
             orNull( R"({ "match": { )" + match + "\"vni\": " + std::to_string( from ) +
                        R"( }, "action": { "vni": )" + std::to_string( to ) + " }, " + more + " }",
                     4 );
   }
   std::string fragment( std::uint64_t original ) {
      std::uint64_t const service = original + 10'000;
      std::string const ingress = R"("interceptPoint": "ingress")";
      std::string const egress = R"("interceptPoint": "egress")";
      std::string const near = R"(, "serviceIntfKey": "near")";
      std::string const far = R"(, "serviceIntfKey": "far")";
      return R"({ "originalVni": )" + std::to_string( original ) + R"(, "serviceVni": )" +
             std::to_string( service ) + R"(, "serviceIntfSet": { "near": )" + intfs() +
             R"(, "far": )" + intfs() + R"( }, "flow": { )" +
             flow( "from-a", R"("srcMac": "02:00:00:00:00:0a", )", original, service, ingress ) +
             ", " +
             flow( "from-b", R"("srcMac": "02:00:00:00:00:0b", )", original, service, ingress ) +
             ", " + flow( "to-hosts", "", service, original, egress ) + ", " +
             flow( "there", "", service, original, ingress + near ) + ", " +
             flow( "back", "", original, service, ingress + far ) + ", " +
             flow( "any", "", 0, service, ingress + far ) + ", " +
             flow( "out", "", service, original, egress + near ) + " } }";
   }
   void policy() {
      apply( R"({ "qor/version1/policy": { "policy": { "policyFragment": { "f": )" +
             ( oneIn( 8 ) ? "null" : fragment( 10100 ) ) + R"(, "g": )" +
             ( oneIn( 2 ) ? "null" : fragment( 10200 ) ) + " } } } }" );
   }

   void hosts() {
      for ( std::uint64_t count = 1 + random_() % 3; count > 0; --count ) {
         std::string const port = portName( 1 + static_cast< int >( random_() % 4 ) );
         if ( !present_.contains( port ) ) {
            continue;
         }
         std::string const host = aHost();
         std::string frame( 60, '\0' );
         frame.replace( 0, 6, 6, '\xff' );
         frame[6] = 2;
         frame[11] = static_cast< char >( std::stoi( host.substr( 15 ), nullptr, 16 ) );
         std::string const vlan = oneOf( { "", "", "", "100", "300" } );
         if ( !vlan.empty() ) {
            int const number = std::stoi( vlan );
            frame[12] = '\x81';
            frame[14] = static_cast< char >( number >> 8 );
            frame[15] = static_cast< char >( number );
         }
         frame[vlan.empty() ? 12 : 16] = 8;
         told( host + " sends at " + port + ( vlan.empty() ? "" : ", tagged " + vlan ) );
         send( vswitch_.netNamespace(), port, frame );
      }
   }

   std::vector< std::string > portVlans( int port ) {
      std::string const name = portName( port );
      std::vector< std::string > words{ "--", "clear", "port", name, "tag", "trunks", "vlan_mode" };
      std::string const kind =
         port < firstServicePort
            ? oneOf( { "tag=100", "tag=100", "tag=100", "tag=300", "trunks=100,300",
                       "trunks=0,100,4095", "tag=100 trunks=300 vlan_mode=native-untagged", "" } )
            : oneOf( { "trunks=4094", "trunks=4094", "tag=100", "" } );
      if ( !kind.empty() ) {
         words.insert( words.end(), { "--", "set", "port", name } );
         std::istringstream settings( kind );
         for ( std::string setting; settings >> setting; ) {
            words.push_back( setting );
         }
      }
      return words;
   }
   /** It comes, with VLANs of its own. */
   std::vector< std::string > portCommand( int port, bool isNew ) {
      std::string const name = portName( port );
      std::vector< std::string > words;
      if ( isNew ) {
         words = { "--",  "add-port",  bridge, name,           "--",
                   "set", "interface", name,   "type=internal" };
         present_.insert( name );
      }
      std::vector< std::string > const vlans = portVlans( port );
      words.insert( words.end(), vlans.begin(), vlans.end() );
      return words;
   }
   void portChanges() {
      int const port = 1 + static_cast< int >( random_() % ports );
      if ( present_.contains( portName( port ) ) ) {
         configure( portCommand( port, false ) );
      }
   }
   void portGoesOrComes() {
      int const port = 1 + static_cast< int >( random_() % ports );
      if ( present_.erase( portName( port ) ) ) {
         configure( { "del-port", portName( port ) } );
      } else {
         configure( portCommand( port, true ) );
      }
   }

   void vniMap() {
      apply( R"({ "interface/status/eth/vxlan": { "vtiStatus": { "Vxlan1": { "vlanToVniMap": { ")" +
             oneOf( { "100", "300" } ) + "\": " +
             oneOf( { "null", R"({ "vni": 10100 })", R"({ "vni": 10300 })" } ) + " } } } } }" );
   }
   void controller() {
      apply( R"({ "vxlancontroller/version2/vni": { ")" + oneOf( { "10100", "20100", "10300" } ) +
             R"(": { "@type": "VxlanController::VniFdbStatusV2", "macVtepTable": { ")" + aHost() +
             "\": " +
             oneOf( { "null", R"({ "vtepAddr": "192.0.2.1" })", R"({ "vtepAddr": "192.0.2.8" })",
                      R"({ "vtepAddr": "192.0.2.9" })" } ) +
             " } } } }" );
   }
   void limit() {
      std::string const table = oneOf( { "10", "50" } );
      if ( now_.limits.erase( std::stoi( table ) ) ) {
         return configure( { "remove", "bridge", bridge, "flow_tables", table } );
      }
      int const most = 2 + static_cast< int >( random_() % 3 );
      told( "table " + table + " takes " + std::to_string( most ) );
      vswitch_.limitTable( bridge, std::stoi( table ), most );
      now_.limits[std::stoi( table )] = static_cast< std::size_t >( most );
   }
   void foreignHand() {
      if ( oneIn( 2 ) ) {
         std::string const which = oneOf( { "", "table=0", "table=10", "table=50", "table=60" } );
         told( "others remove all flows of " + which );
         vswitch_.ofctl(
            "del-flows", bridge,
            which.empty() ? std::vector< std::string >{} : std::vector< std::string >{ which } );
      } else {
         std::string const added =
            oneOf( { "table=10,priority=40000,dl_src=02:00:00:00:00:0a,actions=drop",
                     "table=50,priority=2,actions=drop", "table=0,priority=7,actions=drop",
                     "table=33,priority=11,dl_vlan=100,actions=set_field:1->reg0" } );
         told( "others add " + added );
         try {
            vswitch_.ofctl( "add-flow", bridge, { added } );
         } catch ( std::runtime_error const & ) {
            // The table is full.
         }
      }
   }

   // --- What is ---

   void read() {
      EXPECT_EQ( device_.run( { "get" } ), 0 ) << device_.said();
      state_ = Corestore::parseJson( device_.said() );
      now_.flows.clear();
      for ( std::string const & line : vswitch_.flows( bridge ) ) {
         if ( line.find( " actions=" ) != line.npos ) {
            now_.flows.push_back( Live::orderedFlow( line ) );
         }
      }
      now_.numbers.clear();
      Kel::Value const interfaces = Corestore::parseJson(
         vswitch_.vsctl( { "--format=json", "--columns=name,ofport", "list", "interface" } ) );
      for ( Kel::Value const & row : Live::elementsOf( at( interfaces, { "data" } ) ) ) {
         auto const & cells = Live::elementsOf( row );
         if ( std::string const name = Live::textOf( cells[0] );
              name != bridge && Live::numberIn( cells[1] ) != 0 ) {
            now_.numbers[name] = static_cast< int >( Live::numberIn( cells[1] ) );
         }
      }
      // The tunnel's port has the name of the tunnel interface in the state.
      if ( auto const port = now_.numbers.find( "vxlan-qor" ); port != now_.numbers.end() ) {
         now_.numbers["Vxlan1"] = port->second;
      }
   }
   Probe randomProbe() {
      Probe probe;
      probe.from = oneIn( 12 )  ? oneOf( { "01:00:00:00:00:01", "00:00:00:00:00:00" } )
                   : oneIn( 4 ) ? "02:00:00:00:ff:01"
                                : aHost();
      do {
         probe.to = oneIn( 2 ) ? oneOf( { "ff:ff:ff:ff:ff:ff", "01:00:5e:00:00:05",
                                          "02:00:00:00:00:77", "02:00:00:00:ff:01" } )
                               : aHost();
      } while ( probe.to == probe.from );
      probe.kind = oneOf( { "ip", "ip", "arp", "ip6" } );
      std::vector< std::string > vlans{ "0", "1", "100", "100", "300", "2000", "4094" };
      for ( auto const & [vlan, row] :
            Live::membersOf( at( state_, { "interface/status/eth/vxlan", "vtiStatus", "Vxlan1",
                                           "vlanToVniMap" } ) ) ) {
         vlans.insert( vlans.end(), 2, vlan );
      }
      if ( oneIn( 6 ) ) {
         probe.in = "Vxlan1";
         probe.vni = std::stoi( oneOf( { "10100", "20100", "10200", "20200", "10300", "77" } ) );
         return probe;
      }
      do {
         probe.in = aPort();
      } while ( !present_.contains( probe.in ) );
      if ( !oneIn( 3 ) ) {
         probe.vlan = std::stoi( oneOf( vlans ) );
      }
      return probe;
   }
   /** What program and bridge say of it, if they differ. */
   std::string compareFrame( Probe const & probe ) {
      return device_.run( probe.options( vswitch_.folder() ) ) == 0 ? "" : device_.said();
   }

   std::mt19937_64 random_;
   LiveSwitch & device_;
   OpenVSwitch & vswitch_;
   std::unique_ptr< Process > agent_;
   std::unique_ptr< Process > driver_;
   std::set< std::string > present_;
   Kel::Value state_;
   BridgeState now_;
   std::string story_;
   std::size_t frames_ = 0;
};

TEST( SwitchAgreesTest, FlowsAnswersAndFramesAreAsTheStateSays ) {
   if ( !Live::RedisServer::isThere() ) {
      GTEST_SKIP() << "redis-server is not there";
   }
   if ( std::string const missing = OpenVSwitch::missing(); !missing.empty() ) {
      GTEST_SKIP() << missing;
   }
   std::uint64_t const first = numberOf( "QORCLIENT_SWITCH_SEED", 1 );
   std::uint64_t const count = numberOf( "QORCLIENT_SWITCH_HISTORIES", 60 );
   LiveSwitch device( false );
   OpenVSwitch vswitch;
   std::map< std::uint64_t, int > answers;
   std::size_t frames = 0;
   for ( std::uint64_t seed = first; seed != first + count; ++seed ) {
      History history( seed, device, vswitch );
      auto const why = [&] {
         return "seed " + std::to_string( seed ) +
                " (QORCLIENT_SWITCH_SEED=" + std::to_string( seed ) +
                " QORCLIENT_SWITCH_HISTORIES=1 plays it alone)\n" + history.story() +
                history.said();
      };
      history.begin();
      for ( int step = 0; step <= steps; ++step ) {
         if ( step > 0 ) {
            history.step();
         }
         std::string differs = history.disagreements();
         if ( differs.empty() ) {
            differs = history.frame();
         }
         ASSERT_TRUE( differs.empty() && history.isAlive() && !HasFailure() ) << differs << why();
         for ( auto const & [answer, rules] : history.answers() ) {
            answers[answer] += rules;
         }
      }
      frames += history.frames();
   }
   // Not all was in vain.
   if ( count >= 40 ) {
      EXPECT_GE( frames, 5 * count );
      for ( std::uint64_t const answer : { 1U, 5U, 6U, 10U } ) {
         EXPECT_GT( answers[answer], 0 ) << answer;
      }
   }
   std::string text;
   for ( auto const & [answer, rules] : answers ) {
      text += std::to_string( answer ) + ": " + std::to_string( rules ) + " ";
   }
   RecordProperty( "frames", std::to_string( frames ) );
   RecordProperty( "answers", text );
}

}  // namespace
