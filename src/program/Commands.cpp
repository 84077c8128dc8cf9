#include "program/Commands.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <new>
#include <span>
#include <system_error>

#include "documents/Document.h"
#include "platform/corestore/Store.h"
#include "platform/flashlog/Decode.h"
#include "platform/kel/StandardError.h"
#include "platform/kel/TraceHandle.h"
#include "program/ApplyCommand.h"
#include "program/AuditCommand.h"
#include "program/CheckCommand.h"
#include "program/CommandOptions.h"
#include "program/ConfigFile.h"
#include "program/ConfigWords.h"
#include "program/DescribeCommand.h"
#include "program/EventLog.h"
#include "program/InitCommand.h"
#include "program/OpenVSwitchCommand.h"
#include "program/RunCommand.h"
#include "program/ServeCommand.h"
#include "program/ShowCommand.h"
#include "program/TracePacketCommand.h"
#include "program/WatchCommand.h"
#include "program/WebCommand.h"
#include "program/WhyCommand.h"
#include "views/Graph.h"
#include "views/tables/Tables.h"

namespace Program {

namespace {

constexpr int exitDone = 0;
constexpr int exitBadInput = 2;
constexpr char version[] = "qorclient " QORCLIENT_VERSION;
constexpr char switchVersion[] = "qorswitch " QORCLIENT_VERSION;

struct Arguments {
   RunOptions run;
   std::vector< std::string > traces;
   ShowOptions show;
   WhyOptions why;
   TracePacketOptions tracePacket;
   DescribeOptions describe;
   ServeOptions serve;
   SimulateOptions simulate;
   OpenVSwitchOptions openVSwitch;
   InitOptions init;
   ApplyOptions apply;
   GetOptions get;
   WatchOptions watch;
   AuditOptions audit;
   WebOptions web;
   std::string scenario;
   std::string traceFile;
   std::string config;
};

/** One with a port would be that of no request. */
std::string checkHostName( std::string const & name ) {
   return name.find( ':' ) != name.npos ? name + ": the name is wanted without a port"
                                        : someName( name );
}

int ( *web )( WebOptions const & ) = &startWeb;

void addCommands( CLI::App & app, Arguments & arguments ) {
   app.require_subcommand( 1 );
   app.set_version_flag( "--version", version, "Print the version" );

   CLI::App & run = *app.add_subcommand( "run", "Play a scenario" );
   run.add_option( "SCENARIO", arguments.run.scenario )->required();
   run.add_option( "--state", arguments.run.state, "Keep the state in a file and go on from it" )
      ->option_text( "FILE" )
      ->check( someName );
   run.add_option( "--dump", arguments.run.dump, "Write the final state (-: standard output)" )
      ->option_text( "FILE" )
      ->check( someName );
   run.add_option( "--dump-each", arguments.run.dumpEach, "Write the state after each step" )
      ->option_text( "DIR" )
      ->check( someName );
   run.add_option( "--journal", arguments.run.journal, "Write the agent's changes, one a line" )
      ->option_text( "FILE" )
      ->check( someName );
   addTraces( run, arguments.traces, arguments.run.traceFile );

   CLI::App & serve =
      *app.add_subcommand( "serve", "Be the agent of a switch whose state is in Redis" );
   addService( serve, arguments.serve, arguments.config );
   addTraces( serve, arguments.traces, arguments.serve.traceFile );

   CLI::App & init = *app.add_subcommand( "init", "Set up the state of a switch in Redis, once" );
   addLive( init, arguments.init.live );
   init.add_flag( "--accept", arguments.init.accept,
                  "Say that the state is the right one, though it is older than before" );

   CLI::App & apply =
      *app.add_subcommand( "apply", "Change the live state by a document, whole or not at all" );
   apply.add_option( "DOCUMENT", arguments.apply.document )->required();
   addLive( apply, arguments.apply.live );

   CLI::App & get = *app.add_subcommand( "get", "Print the live state as a document" );
   get.add_option( "PATH", arguments.get.path, "What stands there and below; without it, all" );
   addLive( get, arguments.get.live );

   CLI::App & watch = *app.add_subcommand( "watch", "Print each change of the live state" );
   watch.add_option( "PATH", arguments.watch.path, "Changes there and below; without it, all" );
   addLive( watch, arguments.watch.live );
   watch.add_flag( "--json", arguments.watch.json, "Write JSON" );

   CLI::App & page = *app.add_subcommand( "web", "Serve a page and metrics of a live switch" );
   addLog( page, arguments.web, arguments.config );
   addLive( page, arguments.web.live );
   page.add_option( "--listen", arguments.web.listen, "Where it is served (127.0.0.1:8080)" )
      ->option_text( "unix:PATH|HOST:PORT" )
      ->check( checkAddress );
   page
      .add_option( "--token-file", arguments.web.tokenFile,
                   "A file whose first line everyone has to know" )
      ->option_text( "FILE" )
      ->check( someName );
   page.add_option( "--name", arguments.web.names, "A further host name by which it is reached" )
      ->allow_extra_args( false )
      ->check( checkHostName );

   CLI::App & audit = *app.add_subcommand(
      "audit", "Say what stands and is not wanted, what is missing, and who works on it" );
   addLive( audit, arguments.audit.live );
   audit.add_flag( "--json", arguments.audit.json, "Write JSON" );
   CLI::Option & remove =
      *audit.add_flag( "--remove", arguments.audit.remove, "Take out what is not wanted" );
   audit.add_flag( "--yes", arguments.audit.sure, "Do not ask before" )->needs( &remove );

   CLI::App & check = *app.add_subcommand( "check", "Validate a scenario without playing it" );
   check.add_option( "SCENARIO", arguments.scenario )->required();

   CLI::App & show = *app.add_subcommand( "show", "Show a table of the state" );
   show.add_option( "TABLE", arguments.show.table )
      ->required()
      ->check( CLI::IsMember( Views::tableNames() ) );
   addSource( show, arguments.show.source, arguments.show.json );

   CLI::App & why = *app.add_subcommand(
      "why", "Follow a flow from policy to hardware and say what it waits for" );
   why.add_option( "FLOW", arguments.why.flow, "A flow, FRAGMENT/FLOW or VRF/FLOW" )->required();
   addSource( why, arguments.why.source, arguments.why.json );

   addTracePacket( app, arguments.tracePacket );

   CLI::App & describe = *app.add_subcommand(
      "describe", "Say what the state is made of: paths, attributes, keys, numbers, writers" );
   CLI::Option & described = *describe.add_option( "PATH|TYPE", arguments.describe.name,
                                                   "A path or a type; without it, all paths" );
   described.check( someName );
   describe.add_flag( "--markdown", arguments.describe.markdown, "Everything, as a page" )
      ->excludes( &described );

   app.add_subcommand( "graph", "Print the wiring as Graphviz DOT" );

   CLI::App & decode = *app.add_subcommand( "decode", "Print a binary trace as text" );
   decode.add_option( "FILE", arguments.traceFile )->required();
}

void addSwitchCommands( CLI::App & app, Arguments & arguments ) {
   app.require_subcommand( 1 );
   app.set_version_flag( "--version", switchVersion, "Print the version" );
   SimulateOptions & options = arguments.simulate;
   CLI::App & simulate =
      *app.add_subcommand( "simulate", "Answer the agent as the hardware and the VXLAN agent do" );
   addService( simulate, options, arguments.config );
   simulate.add_option( "--vlan-pool", options.vlanPool, "VLANs for VNIs that are asked for" )
      ->option_text( "FIRST-LAST" )
      ->check( checkVlanPool );
   simulate.add_option( "--flow-capacity", options.flowCapacity,
                        "Rules that a flow table takes; 0 for any number (0)" );
   simulate
      .add_option( "--answer-after", options.answerAfter,
                   "Seconds from a new rule to its answer (0)" )
      ->check( CLI::Range( 0.0, 86400.0 ) );

   OpenVSwitchOptions & real = arguments.openVSwitch;
   CLI::App & openVSwitch = *app.add_subcommand(
      "openvswitch",
      "Have an Open vSwitch bridge do what the state asks for, and tell what it is" );
   addService( openVSwitch, real, arguments.config );
   openVSwitch.add_option( "--bridge", real.bridge, "The bridge that is steered" )
      ->required()
      ->check( someName );
   openVSwitch
      .add_option( "--run-folder", real.runFolder,
                   "Where the switch has its sockets (/var/run/openvswitch)" )
      ->option_text( "DIR" );
   openVSwitch.add_option( "--vlan-pool", real.vlanPool, "VLANs for VNIs that are asked for" )
      ->option_text( "FIRST-LAST" )
      ->check( checkVlanPool );
   openVSwitch.add_option( "--vtep", real.vtep, "The address of the switch's tunnel end point" )
      ->option_text( "ADDRESS" )
      ->check( checkEndPoint );
   openVSwitch
      .add_option( "--ageing", real.ageing, "Seconds for which a silent host stays learnt (300)" )
      ->check( CLI::Range( 1, 65535 ) );
}

/** An agent writes its trace into the folder where it is started, which is right for a service and
 *  not for a command: here it does so only when it was told where. */
void keepFolderClean( Arguments const & arguments ) {
   if ( !std::getenv( "FLASHLOGDIR" ) || !arguments.run.traceFile.empty() ||
        !arguments.serve.traceFile.empty() ) {
      ::setenv( "FLASHLOG_DISABLE", "1", 1 );
   }
}

int runCommand( std::string const & name, Arguments const & arguments ) {
   keepFolderClean( arguments );
   if ( name == "run" ) {
      setTraces( arguments.traces );
      return runScenario( arguments.run );
   }
   if ( name == "serve" ) {
      setTraces( arguments.traces );
      return serveSwitch( arguments.serve );
   }
   if ( name == "simulate" ) {
      return simulateSwitch( arguments.simulate );
   }
   if ( name == "openvswitch" ) {
      return steerOpenVSwitch( arguments.openVSwitch );
   }
   if ( name == "web" ) {
      return web( arguments.web );
   }
   if ( name == "audit" ) {
      return auditState( arguments.audit );
   }
   if ( name == "init" ) {
      initState( arguments.init );
   } else if ( name == "apply" ) {
      applyDocument( arguments.apply );
   } else if ( name == "get" ) {
      getState( arguments.get );
   } else if ( name == "watch" ) {
      watchState( arguments.watch );
   } else if ( name == "check" ) {
      checkScenario( arguments.scenario );
   } else if ( name == "show" ) {
      return showTable( arguments.show );
   } else if ( name == "why" ) {
      return explainFlow( arguments.why );
   } else if ( name == "trace-packet" ) {
      return tracePacket( arguments.tracePacket );
   } else if ( name == "describe" ) {
      return describeState( arguments.describe );
   } else if ( name == "graph" ) {
      Views::printGraph( std::cout );
   } else {
      Flashlog::decode( arguments.traceFile, std::cout );
   }
   return exitDone;
}

/** Names in it come from outside: it stays one line. */
int refused( std::exception const & error ) {
   if ( logsJson() ) {
      logEvent( LogLevel::error, error.what(), { { "event", "ended" } } );
      return exitBadInput;
   }
   std::cerr << Kel::oneLine( error.what() ) << std::endl;
   return exitBadInput;
}

/** The same for a command line, of which the message may quote any argument. */
int refused( CLI::ParseError const & error, int argc, char const * const * argv ) {
   std::string text = error.what();
   for ( std::string_view argument : std::span( argv, static_cast< std::size_t >( argc ) ) ) {
      std::string const shown = Kel::shownName( argument );
      std::size_t const at = shown == argument ? text.npos : text.find( argument );
      if ( at != text.npos ) {
         text.replace( at, argument.size(), shown );
      }
   }
   std::cerr << Kel::oneLine( text ) << "\nRun with --help for more information." << std::endl;
   return exitBadInput;
}

/** Parses words in their order. */
void parse( CLI::App & app, std::vector< std::string > words ) {
   std::ranges::reverse( words );
   app.parse( std::move( words ) );
}

/** A program's commands. */
struct ProgramCommands {
   char const * description;
   char const * name;
   void ( *addCommands )( CLI::App & app, Arguments & arguments );
};

/** What is wrong with one option of a command; empty if nothing is. That it wants others as well
 *  doesn't count. */
std::string wrongIn( ProgramCommands const & program, std::string const & command,
                     std::string const & option ) {
   CLI::App app;
   Arguments unused;
   program.addCommands( app, unused );
   try {
      parse( app, { command, option } );
   } catch ( CLI::RequiredError const & ) {
      return "";
   } catch ( CLI::ParseError const & e ) {
      return e.what();
   }
   return "";
}

int run( ProgramCommands const & program, int argc, char const * const * argv ) {
   CLI::App app( program.description, program.name );
   Arguments arguments;
   arguments.web.words = argv;
   program.addCommands( app, arguments );
   try {
      parse( app, withConfigFile( app, { argv + std::min( argc, 1 ), argv + argc },
                                  [&program]( auto const & command, auto const & option ) {
                                     return wrongIn( program, command, option );
                                  } ) );
   } catch ( CLI::ParseError const & e ) {
      return e.get_exit_code() == 0 ? app.exit( e ) : refused( e, argc, argv );
   } catch ( ConfigError const & e ) {
      return refused( e );
   }
   try {
      return runCommand( app.get_subcommands().front()->get_name(), arguments );
   } catch ( Documents::InputError const & e ) {
      return refused( e );
   } catch ( Corestore::StoreError const & e ) {
      return refused( e );
   } catch ( Flashlog::DecodeError const & e ) {
      return refused( e );
   } catch ( std::system_error const & e ) {
      // Shared memory that is full or cannot be written.
      return refused( e );
   } catch ( std::bad_alloc const & ) {
      Kel::writeStandardError( "out of memory\n" );
      return exitBadInput;
   }
}

}  // namespace

void webIs( int ( *serve )( WebOptions const & ) ) {
   web = serve;
}

int runCommandLine( int argc, char const * const * argv ) {
   return run( { "The policy agent of a data-centre switch, and a switch to run it on", "qorclient",
                 &addCommands },
               argc, argv );
}

int runSwitchCommandLine( int argc, char const * const * argv ) {
   return run( { "The other agents of a switch", "qorswitch", &addSwitchCommands }, argc, argv );
}

}  // namespace Program
