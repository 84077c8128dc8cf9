#include "runner/RunCommand.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <utility>

#include "platform/corestore/SqliteStore.h"
#include "platform/corestore/ValueText.h"
#include "platform/kel/Assert.h"
#include "runner/Document.h"
#include "runner/Journal.h"
#include "runner/Scenario.h"
#include "runner/tables/Tables.h"

namespace Runner {

namespace {

/** A file that is written; what fails is bad input, since the user named it. */
class Output {
 public:
   explicit Output( std::string const & file, std::ios::openmode mode = std::ios::trunc )
      : file_( file ), out_( file, mode ) {
      check();
   }

   /** Empties it. */
   void beginAgain() {
      out_ = std::ofstream( file_ );
      check();
   }
   void write( std::string const & text ) {
      out_ << text;
      check();
   }
   void flush() {
      out_.flush();
      check();
   }

 private:
   void check() const {
      if ( !out_ ) {
         throw InputError( file_, "",
                           std::string( "cannot be written: " ) + std::strerror( errno ) );
      }
   }

   std::string file_;
   std::ofstream out_;
};

void writeDump( Switch const & device, std::string const & file ) {
   std::string const text = Corestore::jsonSorted( device.dump() ) + "\n";
   if ( file == "-" ) {
      std::cout << text;
   } else {
      Output out( file );
      out.write( text );
      out.flush();
   }
}

std::string dumpName( RunOptions const & options, std::size_t step ) {
   return options.dumpEach + "/" + std::to_string( step ) + ".json";
}

/** The flows of the policy and the routed ones; one empty table where there are neither. */
void printFlows( Switch const & device ) {
   TextTable const flows = tableOf( "flows", device );
   TextTable const routed = tableOf( "l3flows", device );
   if ( !flows.empty() || routed.empty() ) {
      flows.print( std::cout );
   }
   if ( !routed.empty() ) {
      std::cout << ( flows.empty() ? "" : "\n" );
      routed.print( std::cout );
   }
}

void makeDirectory( std::string const & directory ) {
   std::error_code error;
   std::filesystem::create_directories( directory, error );
   if ( error ) {
      throw InputError( directory, "", "cannot be made: " + error.message() );
   }
}

/** One file under two names, there or not yet. Terminals and pipes may be read and written. */
bool sameFile( std::string const & a, std::string const & b ) {
   namespace fs = std::filesystem;
   std::error_code error;
   if ( fs::exists( a, error ) && !fs::is_regular_file( a, error ) ) {
      return false;
   }
   return fs::equivalent( a, b, error ) ||
          fs::weakly_canonical( fs::absolute( a, error ), error ) ==
             fs::weakly_canonical( fs::absolute( b, error ), error );
}

/** Throws InputError when what is written would replace what is read. */
void checkOutputs( RunOptions const & options, std::size_t steps ) {
   std::vector< std::string > outputs;
   for ( std::string const & file : { options.journal, options.dump } ) {
      if ( !file.empty() && file != "-" ) {
         outputs.push_back( file );
      }
   }
   for ( std::size_t step = 0; step != steps && !options.dumpEach.empty(); ++step ) {
      outputs.push_back( dumpName( options, step ) );
   }
   std::vector< std::string > const stateFiles =
      options.state.empty() ? std::vector< std::string >()
                            : Corestore::SqliteStore::filesOf( options.state );
   for ( std::string const & output : outputs ) {
      if ( sameFile( output, options.scenario ) ) {
         throw InputError( output, "", "cannot be written: it is the scenario" );
      }
      for ( std::string const & file : stateFiles ) {
         if ( sameFile( output, file ) ) {
            throw InputError( output, "", "cannot be written: it is the state file" );
         }
      }
   }
}

Switch & switchOn( std::string const & stateFile, Switch::Setup setup ) {
   try {
      return *new Switch( std::move( setup ) );
   } catch ( Kel::ValueError const & e ) {
      throw InputError( stateFile, e );
   }
}

}  // namespace

int runScenario( RunOptions const & options ) {
   Scenario const scenario = readScenario( options.scenario );
   checkOutputs( options, scenario.steps.size() );
   if ( !options.dumpEach.empty() ) {
      makeDirectory( options.dumpEach );
   }
   std::optional< Output > journal;
   std::optional< Kel::FlushHook > saveJournal;
   // Changes of the agent's start belong to no step.
   std::int64_t step = -1;
   std::function< void( OutputChange const & ) > observer;
   // A run whose state is refused leaves the journal of an earlier one.
   bool journalBegun = false;
   auto const beginJournal = [&] {
      if ( journal && !std::exchange( journalBegun, true ) ) {
         journal->beginAgain();
      }
   };
   if ( !options.journal.empty() ) {
      journal.emplace( options.journal, std::ios::app );
      saveJournal.emplace( [&] { journal->flush(); } );
      observer = [&]( OutputChange const & change ) {
         beginJournal();
         journal->write( journalLine( step, change ) + "\n" );
      };
   }
   std::optional< Corestore::SqliteStore > store;
   if ( !options.state.empty() ) {
      store.emplace( options.state );
   }

   // Never destroyed: at the end of the process the state stays as it is.
   Switch & device = switchOn( options.state, { .observer = std::move( observer ),
                                                .simulated = scenario.simulated,
                                                .store = store ? &*store : nullptr } );
   beginJournal();
   bool met = true;
   while ( ++step != std::ssize( scenario.steps ) ) {
      for ( Unmet const & unmet :
            playStep( device, scenario, static_cast< std::size_t >( step ) ) ) {
         std::cerr << printable( describe( scenario, unmet ) ) << std::endl;
         met = false;
      }
      if ( !options.dumpEach.empty() ) {
         writeDump( device, dumpName( options, static_cast< std::size_t >( step ) ) );
      }
   }
   device.outputObserverIs( {} );
   if ( journal ) {
      journal->flush();
   }
   if ( !options.dump.empty() ) {
      writeDump( device, options.dump );
   } else {
      printFlows( device );
   }
   return met ? 0 : 1;
}

}  // namespace Runner
