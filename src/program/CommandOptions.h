#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

#include "program/LiveState.h"
#include "program/StateSource.h"
#include "program/TracePacketCommand.h"

/* Options that several commands have, and how they are checked. */

namespace Program {

inline constexpr char configOption[] = "--config";

/** Sets the levels that "--trace" gave, which have been checked. */
void setTraces( std::vector< std::string > const & traces );
/** What is wrong with a name; empty if nothing is. An empty one would stand for an option that
 *  wasn't given. */
std::string someName( std::string const & name );

void addSwitch( CLI::App & command, LiveOptions & live );
CLI::Option & addRedis( CLI::App & group, LiveOptions & live );
/** Both, of which the address has to be given. */
void addLive( CLI::App & command, LiveOptions & live );
/** Where the state comes from that is looked at. */
void addSource( CLI::App & command, StateSource & from, bool & json );
void addTracePacket( CLI::App & app, TracePacketOptions & options );
void addTraces( CLI::App & command, std::vector< std::string > & traces, std::string & file );

/** What all that runs on has in common. */
template < class Options >
void addLog( CLI::App & command, Options & options, std::string & config ) {
   // What it names is put in before the command line is parsed.
   command
      .add_option( configOption, config,
                   "Take options from a file, NAME = VALUE a line; those given here go first" )
      ->option_text( "FILE" )
      ->check( someName );
   command.add_option( "--log-format", options.logFormat, "How events are told (text)" )
      ->option_text( "text|json" )
      ->check( CLI::IsMember( { "text", "json" } ) );
}

/** What the services have in common. */
template < class Options >
void addService( CLI::App & command, Options & options, std::string & config ) {
   addLog( command, options, config );
   addLive( command, options.live );
   command.add_flag( "--end-if-held", options.endIfHeld,
                     "End when another process serves the switch; otherwise wait for it" );
   command
      .add_option( "--lease", options.lease,
                   "Seconds after which another one takes over from one that is silent (10)" )
      ->check( CLI::Range( 0.1, 3600. ) );
}

}  // namespace Program
