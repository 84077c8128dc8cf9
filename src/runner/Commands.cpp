#include "runner/Commands.h"

#include <CLI/CLI.hpp>
#include <charconv>
#include <iostream>
#include <system_error>

#include "platform/corestore/Store.h"
#include "platform/flashlog/Decode.h"
#include "platform/kel/TraceHandle.h"
#include "runner/Document.h"
#include "runner/Graph.h"
#include "runner/RunCommand.h"
#include "runner/Scenario.h"
#include "runner/ShowCommand.h"
#include "runner/WhyCommand.h"
#include "runner/tables/Tables.h"

namespace Runner {

namespace {

constexpr int exitDone = 0;
constexpr int exitBadInput = 2;

struct Arguments {
   RunOptions run;
   std::vector< std::string > traces;
   ShowOptions show;
   WhyOptions why;
   std::string scenario;
   std::string traceFile;
};

/** The level in "LEVEL" or "HANDLE=LEVEL"; nothing when it is none. */
std::optional< int > traceLevel( std::string_view text ) {
   text.remove_prefix( text.find( '=' ) + 1 );
   int level = -1;
   auto [end, error] = std::from_chars( text.data(), text.data() + text.size(), level );
   bool const whole = error == std::errc{} && end == text.data() + text.size();
   return whole && level >= 0 && level < Kel::traceLevels ? std::optional( level ) : std::nullopt;
}

void setTraces( std::vector< std::string > const & traces ) {
   for ( std::string const & trace : traces ) {
      if ( std::size_t const sign = trace.find( '=' ); sign == std::string::npos ) {
         Kel::setTextTrace( *traceLevel( trace ) );
      } else {
         Kel::setTextTrace( trace.substr( 0, sign ), *traceLevel( trace ) );
      }
   }
}

/** An empty name would stand for an option that wasn't given. */
std::string someName( std::string const & name ) {
   return name.empty() ? "a name is empty" : "";
}

void addSource( CLI::App & command, StateSource & from, bool & json ) {
   CLI::Option_group & source = *command.add_option_group( "source" );
   source.add_option( "--scenario", from.scenario, "Play it and look at its end" )
      ->check( someName );
   source.add_option( "--state", from.state, "Look at a state document or the file of a run" )
      ->check( someName );
   source.require_option( 1 );
   command.add_flag( "--json", json, "Write JSON" );
}

void addCommands( CLI::App & app, Arguments & arguments ) {
   app.require_subcommand( 1 );

   CLI::App & run = *app.add_subcommand( "run", "Play a scenario" );
   run.add_option( "SCENARIO", arguments.run.scenario )->required();
   run.add_option( "--state", arguments.run.state, "Keep the state in a file and go on from it" )
      ->check( someName );
   run.add_option( "--dump", arguments.run.dump, "Write the final state (-: standard output)" )
      ->check( someName );
   run.add_option( "--dump-each", arguments.run.dumpEach, "Write the state after each step" )
      ->option_text( "DIR" )
      ->check( someName );
   run.add_option( "--journal", arguments.run.journal, "Write the agent's changes, one a line" )
      ->check( someName );
   run.add_option( "--trace", arguments.traces, "Text trace on standard error" )
      ->option_text( "LEVEL|HANDLE=LEVEL ..." )
      ->allow_extra_args( false )
      ->check( []( std::string const & text ) {
         return traceLevel( text ) ? "" : text + " is neither LEVEL nor HANDLE=LEVEL, 0 to 9";
      } );

   CLI::App & check = *app.add_subcommand( "check", "Validate a scenario without playing it" );
   check.add_option( "SCENARIO", arguments.scenario )->required();

   CLI::App & show = *app.add_subcommand( "show", "Show a table of the state" );
   show.add_option( "TABLE", arguments.show.table )
      ->required()
      ->check( CLI::IsMember( tableNames() ) );
   addSource( show, arguments.show.source, arguments.show.json );

   CLI::App & why = *app.add_subcommand(
      "why", "Follow a flow from policy to hardware and say what it waits for" );
   why.add_option( "FLOW", arguments.why.flow, "A flow, FRAGMENT/FLOW or VRF/FLOW" )->required();
   addSource( why, arguments.why.source, arguments.why.json );

   app.add_subcommand( "graph", "Print the wiring as Graphviz DOT" );

   CLI::App & decode = *app.add_subcommand( "decode", "Print a binary trace as text" );
   decode.add_option( "FILE", arguments.traceFile )->required();
}

int runCommand( std::string const & name, Arguments const & arguments ) {
   if ( name == "run" ) {
      setTraces( arguments.traces );
      return runScenario( arguments.run );
   }
   if ( name == "check" ) {
      readScenario( arguments.scenario );
   } else if ( name == "show" ) {
      return showTable( arguments.show );
   } else if ( name == "why" ) {
      return explainFlow( arguments.why );
   } else if ( name == "graph" ) {
      printGraph( std::cout );
   } else {
      Flashlog::decode( arguments.traceFile, std::cout );
   }
   return exitDone;
}

/** Names in it come from outside: it stays one line. */
int refused( std::exception const & error ) {
   std::cerr << printable( error.what() ) << std::endl;
   return exitBadInput;
}

}  // namespace

int runCommandLine( int argc, char const * const * argv ) {
   CLI::App app( "The policy agent of a data-centre switch, and a switch to run it on",
                 "qorclient" );
   Arguments arguments;
   addCommands( app, arguments );
   try {
      app.parse( argc, argv );
   } catch ( CLI::ParseError const & e ) {
      return app.exit( e ) == 0 ? exitDone : exitBadInput;
   }
   try {
      return runCommand( app.get_subcommands().front()->get_name(), arguments );
   } catch ( InputError const & e ) {
      return refused( e );
   } catch ( Corestore::StoreError const & e ) {
      return refused( e );
   } catch ( Flashlog::DecodeError const & e ) {
      return refused( e );
   } catch ( std::system_error const & e ) {
      // Shared memory that is full or cannot be written.
      return refused( e );
   }
}

}  // namespace Runner
