#include "program/RunCommand.h"

#include <filesystem>
#include <iostream>
#include <memory>
#include <utility>

#include "documents/Document.h"
#include "platform/corestore/ValueText.h"
#include "platform/flashlog/Flashlog.h"
#include "platform/kel/Assert.h"
#include "platform/kel/StandardError.h"
#include "program/Output.h"
#include "program/StateSource.h"
#include "scenario/Journal.h"
#include "scenario/Scenario.h"
#include "stores/sqlite/SqliteStore.h"
#include "views/tables/Tables.h"

namespace Program {

namespace {

/** The flows of the policy and the routed ones; one empty table where there are neither. */
void printFlows( Scenarios::Switch const & device ) {
   Views::TextTable const flows = Views::tableOf( "flows", device.entityManager() );
   Views::TextTable const routed = Views::tableOf( "l3flows", device.entityManager() );
   if ( !flows.empty() || routed.empty() ) {
      flows.print( std::cout );
   }
   if ( !routed.empty() ) {
      std::cout << ( flows.empty() ? "" : "\n" );
      routed.print( std::cout );
   }
}

std::string dumpOf( Scenarios::Switch const & device ) {
   return Corestore::jsonSorted( device.dump() ) + "\n";
}

/** Throws InputError when one file is written twice, or written and read. */
void checkNames( RunOptions const & options, std::size_t steps ) {
   /** A file, and what it is. */
   using Named = std::pair< std::string, std::string >;
   std::vector< Named > others{ { options.scenario, "the scenario" } };
   if ( !options.state.empty() ) {
      for ( std::string const & file : Corestore::SqliteStore::filesOf( options.state ) ) {
         if ( sameFile( file, options.scenario ) ) {
            throw Documents::InputError( options.state, "",
                                         "cannot be the state file: it is the scenario" );
         }
         others.emplace_back( file, "the state file" );
      }
   }
   auto const add = [&others]( std::string const & file, char const * what ) {
      for ( auto const & [other, otherIs] : others ) {
         if ( sameFile( file, other ) ) {
            throw Documents::InputError( file, "", "cannot be written: it is " + otherIs );
         }
      }
      others.emplace_back( file, what );
   };
   if ( !options.journal.empty() ) {
      add( options.journal, "the journal" );
   }
   if ( !options.traceFile.empty() ) {
      add( options.traceFile, "the trace" );
      add( Flashlog::previousOf( options.traceFile ), "the earlier trace" );
   }
   if ( !options.dump.empty() && options.dump != "-" ) {
      add( options.dump, "the final state" );
   }
   for ( std::size_t step = 0; step != steps && !options.dumpEach.empty(); ++step ) {
      std::string const file = StepOutputs::nameOf( options.dumpEach, step );
      for ( auto const & [other, otherIs] : others ) {
         if ( sameFile( file, other ) ) {
            throw Documents::InputError( file, "", "cannot be written: it is " + otherIs );
         }
      }
   }
}

/** The agent's changes: gathered while the agent is at work, and written between its steps and
 *  before an abort. */
class JournalFile {
 public:
   explicit JournalFile( std::string const & file ) : out_( file ) {}
   ~JournalFile() {
      try {
         if ( begun_ ) {
            write();
         }
      } catch ( Documents::InputError const & ) {
         // The run has ended with an error of its own, or has told of this one.
      }
   }
   JournalFile( JournalFile const & ) = delete;
   JournalFile & operator=( JournalFile const & ) = delete;

   void add( std::int64_t step, Scenarios::OutputChange const & change ) {
      pending_ += Scenarios::journalLine( step, change ) + "\n";
   }
   /** `goesOn`: so does the state that an earlier journal has led to. */
   void beginIs( bool goesOn ) { goesOn_ = goesOn; }
   void write() {
      if ( !std::exchange( begun_, true ) ) {
         goesOn_ ? out_.goOn() : out_.begin();
      }
      out_.write( std::exchange( pending_, {} ) );
   }

 private:
   // Runs before the hook of the file, which then isn't one without use.
   Kel::FlushHook save_{ [this] { write(); } };
   Output out_;
   std::string pending_;
   bool goesOn_ = false;
   bool begun_ = false;
};

void openTrace( std::string const & file ) {
   try {
      Flashlog::open( file );
   } catch ( std::runtime_error const & e ) {
      throw Documents::InputError( file, "", e.what() );
   }
}

Scenarios::Switch & switchOn( RunOptions const & options, Scenarios::Switch::Setup setup ) {
   Kel::FlushHook const lastWords( [&options] {
      Kel::writeStandardError( Documents::placeOf( options.scenario, "" ) +
                               ": the process ends before the first step\n" );
   } );
   try {
      return *new Scenarios::Switch( std::move( setup ) );
   } catch ( Kel::ValueError const & e ) {
      throw Documents::InputError( options.state, e );
   }
}

/** The trace comes last, since an earlier one gives way to it at once. A state file that was made
 *  for nothing goes again. */
std::unique_ptr< Corestore::SqliteStore > openStateAndTrace( RunOptions const & options ) {
   std::error_code error;
   bool const made = !options.state.empty() && !std::filesystem::exists( options.state, error );
   auto store =
      options.state.empty() ? nullptr : std::make_unique< Corestore::SqliteStore >( options.state );
   try {
      if ( !options.traceFile.empty() ) {
         openTrace( options.traceFile );
      }
   } catch ( Documents::InputError const & ) {
      store = nullptr;
      if ( made ) {
         for ( std::string const & file : Corestore::SqliteStore::filesOf( options.state ) ) {
            std::filesystem::remove( file, error );
         }
      }
      throw;
   }
   return store;
}

/** Null for no name. */
template < class T, class... Args >
std::unique_ptr< T > openIf( std::string const & name, Args... args ) {
   return name.empty() ? nullptr : std::make_unique< T >( name, args... );
}

}  // namespace

int runScenario( RunOptions const & options ) {
   Scenarios::Scenario const scenario = openScenario( options.scenario );
   checkNames( options, scenario.steps.size() );
   auto const dump = openIf< Output >( options.dump == "-" ? "" : options.dump );
   auto const dumpEach = openIf< StepOutputs >( options.dumpEach, scenario.steps.size() );
   auto const journal = openIf< JournalFile >( options.journal );
   auto const store = openStateAndTrace( options );
   if ( journal && store ) {
      journal->beginIs( store->holdsState() );
   }

   // Changes of the agent's start belong to no step.
   std::int64_t step = -1;
   std::function< void( Scenarios::OutputChange const & ) > observer;
   if ( journal ) {
      observer = [&]( Scenarios::OutputChange const & change ) { journal->add( step, change ); };
   }
   // Never destroyed: at the end of the process the state stays as it is.
   Scenarios::Switch & device = switchOn( options, { .observer = std::move( observer ),
                                                     .simulated = scenario.simulated,
                                                     .store = store.get() } );
   if ( journal ) {
      journal->write();
   }
   bool met = true;
   while ( ++step != std::ssize( scenario.steps ) ) {
      auto const number = static_cast< std::size_t >( step );
      for ( Documents::Unmet const & unmet : Scenarios::playStep( device, scenario, number ) ) {
         std::cerr << Views::printable( describe( scenario, unmet ) ) << std::endl;
         met = false;
      }
      if ( journal ) {
         journal->write();
      }
      if ( dumpEach ) {
         dumpEach->write( number, dumpOf( device ) );
      }
   }
   device.outputObserverIs( {} );
   if ( dump ) {
      // The text may be what there is no memory for.
      std::string const text = dumpOf( device );
      dump->begin();
      dump->write( text );
   } else if ( !options.dump.empty() ) {
      std::cout << dumpOf( device );
   } else {
      printFlows( device );
   }
   return met ? 0 : 1;
}

}  // namespace Program
