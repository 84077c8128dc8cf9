#include "live/OpenVSwitch.h"

#include <sched.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <sstream>
#include <stdexcept>
#include <string_view>

namespace Live {

namespace {

constexpr char const * programs[] = { "ovsdb-tool", "ovsdb-server", "ovs-vsctl", "ovs-vswitchd",
                                      "ovs-appctl", "ovs-ofctl",    "ip" };
constexpr char const * schema = "/usr/share/openvswitch/vswitch.ovsschema";

constexpr char const * prefix = "qorclient-ovs-";

/** Namespaces of processes that were killed. */
void removeAbandoned() {
   std::error_code ignored;
   for ( auto const & entry : std::filesystem::directory_iterator( "/run/netns", ignored ) ) {
      std::string const name = entry.path().filename();
      if ( !name.starts_with( prefix ) ) {
         continue;
      }
      int const pid = std::atoi( name.c_str() + std::string_view( prefix ).size() );
      if ( pid > 0 && ::kill( pid, 0 ) != 0 && errno == ESRCH ) {
         ::umount2( entry.path().c_str(), MNT_DETACH );
         std::filesystem::remove( entry.path(), ignored );
      }
   }
}

}  // namespace

std::string OpenVSwitch::missing() {
   for ( char const * const program : programs ) {
      if ( !hasProgram( program ) ) {
         return std::string( "there is no " ) + program;
      }
   }
   if ( ::access( schema, R_OK ) != 0 ) {
      return "there is no Open vSwitch schema";
   }
   if ( ::geteuid() != 0 ) {
      return "only root may make interfaces";
   }
   // Containers may be forbidden to make them.
   pid_t const child = ::fork();
   if ( child == 0 ) {
      ::_exit( ::unshare( CLONE_NEWNET ) == 0 ? 0 : 1 );
   }
   int status = 1;
   ::waitpid( child, &status, 0 );
   return status == 0 ? "" : "network namespaces are not permitted";
}

OpenVSwitch::OpenVSwitch() {
   std::signal( SIGPIPE, SIG_IGN );
   removeAbandoned();
   static int count = 0;
   std::string const name = ownName( prefix ) + "-" + std::to_string( ++count );
   run( { "ip", "netns", "add", name } );
   netNamespace_ = name;
   // Where its programs look for each other.
   ::setenv( "OVS_RUNDIR", folder_.path().c_str(), 1 );
   run( { "ovsdb-tool", "create", folder_.path() / "conf.db", schema } );
   server_ = std::make_unique< Process >(
      std::vector< std::string >{ "ovsdb-server", folder_.path() / "conf.db",
                                  "--remote=punix:" + database(),
                                  "--unixctl=" + std::string( folder_.path() / "db.ctl" ) },
      folder_.path() / "server.log" );
   // Its socket is there a moment before it listens.
   vsctl( { "--retry", "--no-wait", "init" } );
   startDaemon();
}

OpenVSwitch::~OpenVSwitch() {
   if ( daemon_ && daemon_->isRunning() ) {
      daemon_->signal( SIGCONT );
      daemon_->signal( SIGTERM );
      daemon_->ended( 5 );
   }
   daemon_.reset();
   if ( !netNamespace_.empty() ) {
      run( { "ip", "netns", "delete", netNamespace_ } );
   }
}

void OpenVSwitch::startDaemon() {
   daemon_ = std::make_unique< Process >(
      std::vector< std::string >{
         "ip", "netns", "exec", netNamespace_, "ovs-vswitchd", "unix:" + database(),
         "--disable-system", "--pidfile=" + std::string( folder_.path() / "ovs-vswitchd.pid" ) },
      folder_.path() / "daemon.log" );
   auto const answers = [this] {
      try {
         run( { "ovs-appctl", "version" } );
         return true;
      } catch ( std::runtime_error const & ) {
         return false;
      }
   };
   if ( !eventually( answers ) ) {
      throw std::runtime_error( "ovs-vswitchd does not start: " + daemon_->output() );
   }
}

void OpenVSwitch::killDaemon() {
   daemon_->kill();
}

void OpenVSwitch::addBridge( std::string const & bridge ) {
   vsctl( { "add-br", bridge, "--", "set", "bridge", bridge, "datapath_type=netdev",
            "fail_mode=secure", "protocols=OpenFlow10,OpenFlow14" } );
}

int OpenVSwitch::addInternalPort( std::string const & bridge, std::string const & name ) {
   vsctl( { "add-port", bridge, name, "--", "set", "interface", name, "type=internal" } );
   return std::stoi( vsctl( { "get", "interface", name, "ofport" } ) );
}

int OpenVSwitch::addPort( std::string const & bridge, std::string const & interface ) {
   vsctl( { "add-port", bridge, interface } );
   return std::stoi( vsctl( { "get", "interface", interface, "ofport" } ) );
}

void OpenVSwitch::limitTable( std::string const & bridge, int table, int flows ) {
   vsctl( { "--id=@limit", "create", "flow_table", "flow_limit=" + std::to_string( flows ),
            "overflow_policy=refuse", "--", "set", "bridge", bridge,
            "flow_tables:" + std::to_string( table ) + "=@limit" } );
}

std::string OpenVSwitch::vsctl( std::vector< std::string > words ) const {
   words.insert( words.begin(), { "ovs-vsctl", "--db=unix:" + database(), "--timeout=20" } );
   return run( words );
}

std::string OpenVSwitch::ofctl( std::string const & command, std::string const & bridge,
                                std::vector< std::string > words ) const {
   words.insert( words.begin(),
                 { "ovs-ofctl", "-O", "OpenFlow14", command, "unix:" + management( bridge ) } );
   return run( words );
}

std::vector< std::string > OpenVSwitch::flows( std::string const & bridge, int table ) const {
   std::vector< std::string > words{ "--no-stats", "--no-names" };
   if ( table >= 0 ) {
      words.insert( words.begin(), "table=" + std::to_string( table ) );
   }
   std::istringstream text( ofctl( "dump-flows", bridge, words ) );
   std::vector< std::string > flows;
   for ( std::string line; std::getline( text, line ); ) {
      flows.push_back( line.substr( std::min( line.find_first_not_of( ' ' ), line.size() ) ) );
   }
   return flows;
}

std::string OpenVSwitch::ownName( std::string const & name ) {
   return name + std::to_string( ::getpid() );
}

std::string OpenVSwitch::run( std::vector< std::string > const & words ) const {
   auto const output = folder_.path() / "command.out";
   std::filesystem::remove( output );
   Process process( words, output );
   if ( process.ended( 60 ) != 0 ) {
      throw std::runtime_error( words[0] + ": " + process.output() );
   }
   return process.output();
}

}  // namespace Live
