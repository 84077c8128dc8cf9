#include "program/CommandOptions.h"

#include <algorithm>
#include <charconv>
#include <optional>
#include <system_error>

#include "platform/kel/StandardError.h"
#include "platform/kel/TraceHandle.h"

namespace Program {

namespace {

/** The level in "LEVEL" or "HANDLE=LEVEL"; nothing when it is none. */
std::optional< int > traceLevel( std::string_view text ) {
   text.remove_prefix( text.find( '=' ) + 1 );
   int level = -1;
   auto [end, error] = std::from_chars( text.data(), text.data() + text.size(), level );
   bool const whole = error == std::errc{} && end == text.data() + text.size();
   return whole && level >= 0 && level < Kel::traceLevels ? std::optional( level ) : std::nullopt;
}

/** What is wrong with "LEVEL" or "HANDLE=LEVEL"; empty if nothing is. */
std::string checkTrace( std::string const & text ) {
   if ( !traceLevel( text ) ) {
      return text + " is neither LEVEL nor HANDLE=LEVEL, 0 to 9";
   }
   std::string const handle = text.substr( 0, text.rfind( '=' ) );
   auto const handles = Kel::traceHandleNames();
   return handle == text || std::ranges::count( handles, handle )
             ? ""
             : "no handle " + Kel::shownName( handle ) +
                  "; there are: " + Kel::shownNames( handles );
}

}  // namespace

void setTraces( std::vector< std::string > const & traces ) {
   for ( std::string const & trace : traces ) {
      if ( std::size_t const sign = trace.find( '=' ); sign == std::string::npos ) {
         Kel::setTextTrace( *traceLevel( trace ) );
      } else {
         Kel::setTextTrace( trace.substr( 0, sign ), *traceLevel( trace ) );
      }
   }
}

std::string someName( std::string const & name ) {
   return name.empty() ? "a name is empty" : "";
}

void addSwitch( CLI::App & command, LiveOptions & live ) {
   command.add_option( "--switch", live.switchName, "The name of the switch (local)" )
      ->check( checkSwitchName );
}

CLI::Option & addRedis( CLI::App & group, LiveOptions & live ) {
   return *group.add_option( "--redis", live.redis, "The live state" )
              ->option_text( "unix:PATH|HOST:PORT" )
              ->check( checkAddress );
}

void addLive( CLI::App & command, LiveOptions & live ) {
   addRedis( command, live ).required();
   addSwitch( command, live );
}

void addSource( CLI::App & command, StateSource & from, bool & json ) {
   CLI::Option_group & source = *command.add_option_group( "source" );
   source.add_option( "--scenario", from.scenario, "Play it and look at its end" )
      ->option_text( "FILE" )
      ->check( someName );
   source.add_option( "--state", from.state, "Look at a state document or the file of a run" )
      ->option_text( "FILE" )
      ->check( someName );
   addRedis( source, from.live );
   source.require_option( 1 );
   addSwitch( command, from.live );
   command.add_flag( "--json", json, "Write JSON" );
}

void addTracePacket( CLI::App & app, TracePacketOptions & options ) {
   CLI::App & command = *app.add_subcommand(
      "trace-packet", "Follow a frame through rules, hosts and VLANs to where it leaves" );
   command.add_option( "--in", options.frame.in, "The port, or the tunnel interface" )
      ->required()
      ->check( someName );
   command.add_option( "--from", options.frame.from, "The source address" )
      ->required()
      ->option_text( "MAC" )
      ->check( Views::checkMac );
   command.add_option( "--to", options.frame.to, "The destination address" )
      ->required()
      ->option_text( "MAC" )
      ->check( Views::checkMac );
   command.add_option( "--vlan", options.frame.vlan, "The VLAN of its tag; without it, untagged" )
      ->check( CLI::Range( 0, 4094 ) );
   command.add_option( "--vni", options.frame.vni, "The VNI of a frame through the tunnel" )
      ->check( CLI::Range( 0, 0xffffff ) );
   command.add_option( "--ether-type", options.frame.etherType, "What it carries (ip)" )
      ->option_text( "arp|ip|ip6|NUMBER" )
      ->check( Views::checkEtherType );
   CLI::Option & ipFrom = *command.add_option( "--ip-from", options.frame.ipFrom, "The sender" );
   CLI::Option & ipTo = *command.add_option( "--ip-to", options.frame.ipTo, "The receiver" );
   ipFrom.option_text( "ADDRESS" )->check( Views::checkIp )->needs( &ipTo );
   ipTo.option_text( "ADDRESS" )->check( Views::checkIp )->needs( &ipFrom );
   CLI::Option & protocol =
      *command.add_option( "--protocol", options.frame.protocol, "The IP protocol's number" );
   protocol.check( CLI::Range( 0, 255 ) )->needs( &ipFrom );
   command.add_option( "--from-port", options.frame.fromPort, "The sender's port" )
      ->check( CLI::Range( 0, 65535 ) )
      ->needs( &protocol );
   command.add_option( "--to-port", options.frame.toPort, "The receiver's port" )
      ->check( CLI::Range( 0, 65535 ) )
      ->needs( &protocol );
   addSource( command, options.source, options.json );
   CLI::Option & bridge = *command.add_option(
      "--bridge", options.bridge, "Hold it against what this Open vSwitch bridge does" );
   bridge.check( someName );
   command
      .add_option( "--run-folder", options.runFolder,
                   "Where the switch has its sockets (/var/run/openvswitch)" )
      ->option_text( "DIR" )
      ->needs( &bridge );
}

void addTraces( CLI::App & command, std::vector< std::string > & traces, std::string & file ) {
   command.add_option( "--trace", traces, "Text trace on standard error" )
      ->option_text( "LEVEL|HANDLE=LEVEL ..." )
      ->allow_extra_args( false )
      ->check( checkTrace );
   command.add_option( "--trace-file", file, "Write the binary trace" )
      ->option_text( "FILE" )
      ->check( someName );
}

}  // namespace Program
