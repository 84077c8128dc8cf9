#include "runner/RunCommand.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>

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
   explicit Output( std::string const & file ) : file_( file ), out_( file ) { check(); }

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

void makeDirectory( std::string const & directory ) {
   std::error_code error;
   std::filesystem::create_directories( directory, error );
   if ( error ) {
      throw InputError( directory, "", "cannot be made: " + error.message() );
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
   if ( !options.dumpEach.empty() ) {
      makeDirectory( options.dumpEach );
   }
   std::optional< Output > journal;
   std::optional< Kel::FlushHook > saveJournal;
   // Changes of the agent's start belong to no step.
   std::int64_t step = -1;
   std::function< void( OutputChange const & ) > observer;
   if ( !options.journal.empty() ) {
      journal.emplace( options.journal );
      saveJournal.emplace( [&] { journal->flush(); } );
      observer = [&]( OutputChange const & change ) {
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
   bool met = true;
   while ( ++step != std::ssize( scenario.steps ) ) {
      for ( Unmet const & unmet :
            playStep( device, scenario, static_cast< std::size_t >( step ) ) ) {
         std::cerr << describe( scenario, unmet ) << std::endl;
         met = false;
      }
      if ( !options.dumpEach.empty() ) {
         writeDump( device, options.dumpEach + "/" + std::to_string( step ) + ".json" );
      }
   }
   device.outputObserverIs( {} );
   if ( journal ) {
      journal->flush();
   }
   if ( !options.dump.empty() ) {
      writeDump( device, options.dump );
   } else {
      tableOf( "flows", device ).print( std::cout );
   }
   return met ? 0 : 1;
}

}  // namespace Runner
