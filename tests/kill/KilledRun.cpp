#include "kill/KilledRun.h"

#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "platform/corestore/ValueText.h"
#include "platform/slab/Segment.h"
#include "stores/sqlite/SqliteStore.h"

namespace Kill {

namespace {

constexpr int finishedCode = 0;
constexpr int failedCode = 3;

std::string textOf( std::string const & file ) {
   std::ostringstream text;
   text << std::ifstream( file, std::ios::binary ).rdbuf();
   return text.str();
}

/** Counts what is done to a store, and kills the process over one of the operations. */
class DeadlyStore final : public Corestore::Store {
 public:
   DeadlyStore( Corestore::Store & store, Instant instant, std::uint64_t & operations,
                bool const & mayDie )
      : store_( store ), instant_( instant ), operations_( operations ), mayDie_( mayDie ) {}

   void load( std::function< void( Corestore::Row const & ) > const & row ) override {
      store_.load( row );
   }
   void put( Corestore::Row const & row ) override {
      operation();
      store_.put( row );
   }
   void del( std::string const & path ) override {
      operation();
      store_.del( path );
   }
   void flush() override {
      operation();
      store_.flush();
      operation();
   }

 private:
   void operation() {
      if ( ++operations_ >= instant_ && instant_ != 0 && mayDie_ ) {
         ::kill( getpid(), SIGKILL );
      }
   }

   Corestore::Store & store_;
   Instant instant_;
   std::uint64_t & operations_;
   bool const & mayDie_;
};

bool const * mayDie = nullptr;

}  // namespace

/** One process's part of the scenario. */
class KilledRun::Player {
 public:
   /** `journal` names the file to which the changes of flow entries are added. */
   Player( Scenarios::Scenario const & scenario, Progress & progress, Corestore::Store & store,
           std::string const & journal )
      : scenario_( scenario ),
        progress_( progress ),
        journal_( journal, std::ios::app ),
        device_( { .observer = [this]( auto const & change ) { note( change ); },
                   .simulated = scenario.simulated,
                   .store = &store } ) {}

   void play() {
      while ( progress_.step != scenario_.steps.size() ) {
         playStep( progress_.step );
         progress_.waitEnds = -1;
         ++progress_.step;
      }
   }

   std::string state() const { return Corestore::jsonSorted( device_.dump() ); }

 private:
   void note( Scenarios::OutputChange const & change ) {
      if ( change.attribute == std::string_view( "flowEntry" ) ) {
         // Out at once: the process may be killed.
         journal_ << progress_.step << " " << change.deleted << " " << change.path << " "
                  << *change.key << std::endl;
      }
   }
   void playStep( std::size_t number ) {
      Scenarios::Step const & step = scenario_.steps[number];
      if ( std::holds_alternative< Scenarios::ExpectStep >( step ) ) {
         return;
      }
      // A death in this step is a restart after the one before, after this one, or in between.
      progress_.mayDie = progress_.deathBefore && !scenario_.noRestartAfter.contains( number );
      if ( auto const * wait = std::get_if< Scenarios::AdvanceStep >( &step ) ) {
         advance( wait->seconds );
      } else if ( auto const * damage = std::get_if< Scenarios::CorruptStep >( &step ) ) {
         for ( auto const & row : damage->rows ) {
            // An earlier process may have done it.
            device_.corrupt( row.path, row.table, row.key );
         }
      } else {
         Scenarios::playStep( device_, scenario_, number );
      }
      progress_.deathBefore = !scenario_.noRestartAfter.contains( number );
   }
   /** Waits for what an earlier process has left of the time. */
   void advance( Orb::Seconds seconds ) {
      double const now = device_.scheduler().now();
      if ( progress_.waitEnds < 0 ) {
         progress_.waitEnds = now + seconds;
      }
      device_.advance( progress_.waitEnds - now );
   }

   Scenarios::Scenario const & scenario_;
   Progress & progress_;
   std::ofstream journal_;
   Scenarios::Switch device_;
};

KilledRun::KilledRun( Scenarios::Scenario const & scenario, std::string const & directory )
   : scenario_( scenario ),
     directory_( directory ),
     progress_(
        static_cast< Progress * >( mmap( nullptr, sizeof( Progress ), PROT_READ | PROT_WRITE,
                                         MAP_SHARED | MAP_ANONYMOUS, -1, 0 ) ) ) {}

KilledRun::~KilledRun() {
   munmap( progress_, sizeof( Progress ) );
}

void KilledRun::begin() {
   for ( auto const & file : std::filesystem::directory_iterator( directory_ ) ) {
      std::filesystem::remove( file );
   }
   *progress_ = { 0, -1, 0, true, true };
}

void KilledRun::child( Instant instant ) {
   int code = failedCode;
   std::string why;
   try {
      Corestore::SqliteStore file( directory_ + "/s.db" );
      DeadlyStore store( file, instant, progress_->operations, progress_->mayDie );
      Player player( scenario_, *progress_, store, directory_ + "/journal" );
      player.play();
      std::ofstream( directory_ + "/state" ) << player.state();
      code = finishedCode;
   } catch ( std::exception const & e ) {
      why = e.what();
   }
   if ( code == failedCode ) {
      std::ofstream( directory_ + "/failure" ) << "before step " << progress_->step << ": " << why;
   }
   _exit( code );
}

template < class Watch >
Ended KilledRun::process( Instant instant, Watch const & watch ) {
   progress_->operations = 0;
   // Before the child is there, which may be asked to die at once.
   mayDie = &progress_->mayDie;
   std::signal( SIGUSR1, []( int ) {
      if ( *mayDie ) {
         ::kill( getpid(), SIGKILL );
      }
   } );
   pid_t const pid = fork();
   if ( pid == 0 ) {
      child( instant );
   }
   watch( pid );
   int status = 0;
   waitpid( pid, &status, 0 );
   Slab::removeAbandonedSegments();
   if ( WIFSIGNALED( status ) && WTERMSIG( status ) == SIGKILL ) {
      return Ended::Killed;
   }
   return WIFEXITED( status ) && WEXITSTATUS( status ) == finishedCode ? Ended::Finished
                                                                       : Ended::Failed;
}

Ended KilledRun::processUntil( Instant instant ) {
   return process( instant, []( pid_t ) {} );
}

Ended KilledRun::processFor( std::uint32_t microseconds ) {
   return process( 0, [microseconds]( pid_t pid ) {
      usleep( microseconds );
      // It knows itself whether it may die at that instant.
      ::kill( pid, SIGUSR1 );
   } );
}

std::string KilledRun::finalState() const {
   return textOf( directory_ + "/state" );
}

std::vector< FlowChange > KilledRun::flowChanges() const {
   std::vector< FlowChange > changes;
   std::ifstream journal( directory_ + "/journal" );
   for ( FlowChange one;
         journal >> one.step >> one.deleted && std::getline( journal >> std::ws, one.entry ); ) {
      changes.push_back( one );
   }
   return changes;
}

std::string KilledRun::failure() const {
   return textOf( directory_ + "/failure" );
}

}  // namespace Kill
