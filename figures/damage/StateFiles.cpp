#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <sstream>

#include "damage/Count.h"
#include "live/Process.h"
#include "platform/corestore/ValueText.h"
#include "scenario/Scenario.h"
#include "scenario/Switch.h"
#include "stores/sqlite/SqliteStore.h"

/* Pages of a state file, and of the journal beside one whose process was killed. */

namespace Damage {

namespace {

namespace fs = std::filesystem;

std::string bytesOf( fs::path const & file ) {
   std::ostringstream bytes;
   bytes << std::ifstream( file, std::ios::binary ).rdbuf();
   return bytes.str();
}

std::string rowsOf( Corestore::Store & store ) {
   std::string rows;
   store.load( [&]( Corestore::Row const & row ) {
      rows += row.path + '\t' + Corestore::jsonLine( row.value ) + '\n';
   } );
   return rows;
}

/** A state file, and each state that is saved in it. */
class Noting final : public Corestore::Store {
 public:
   Noting( fs::path const & file, std::set< std::string > & states )
      : file_( file ), states_( states ) {}
   void load( std::function< void( Corestore::Row const & ) > const & row ) override {
      file_.load( row );
   }
   void put( Corestore::Row const & row ) override { file_.put( row ); }
   void del( std::string const & path ) override { file_.del( path ); }
   void flush() override {
      file_.flush();
      states_.insert( rowsOf( file_ ) );
   }

 private:
   Corestore::SqliteStore file_;
   std::set< std::string > & states_;
};

/** The files of a run, as they stood behind one of its steps, and all states that were saved. */
struct Files {
   std::string file;
   std::string journal;
   std::string earlierFile;
   std::string earlierJournal;
   /** Of the run that has ended. */
   std::string atRest;
   std::string last;
   std::set< std::string > states;
};

Files filesOf( fs::path const & folder, std::string const & scenario ) {
   Files files;
   fs::path const file = folder / "state";
   ::setenv( "FLASHLOG_DISABLE", "1", 1 );
   {
      Scenarios::Scenario const played = Scenarios::readScenario( scenario );
      Noting store( file, files.states );
      files.states.insert( std::string() );
      Scenarios::Switch device( { .simulated = played.simulated, .store = &store } );
      for ( std::size_t step = 0; step != played.steps.size(); ++step ) {
         files.earlierFile = bytesOf( file );
         files.earlierJournal = bytesOf( file.string() + "-wal" );
         Scenarios::playStep( device, played, step );
      }
      files.last = rowsOf( store );
      files.file = bytesOf( file );
      files.journal = bytesOf( file.string() + "-wal" );
   }
   files.atRest = bytesOf( file );
   return files;
}

/** The places of bytes that say something: most of a page is empty. */
std::vector< std::size_t > spokenPlaces( std::string const & bytes ) {
   std::vector< std::size_t > places;
   for ( std::size_t i = 0; i + 64 <= bytes.size(); i += 64 ) {
      if ( bytes.find_first_not_of( '\0', i ) < i + 64 ) {
         places.push_back( i );
      }
   }
   return places;
}

void write( fs::path const & file, std::string const & bytes ) {
   std::ofstream( file, std::ios::binary | std::ios::trunc ) << bytes;
}

/** Reads a state of which a stretch is damaged, and holds it against those that were saved. */
void readOne( Count & counted, fs::path const & file, std::string const & last,
              std::set< std::string > const & states ) {
   ++counted.all;
   try {
      Corestore::SqliteStore store( file, Corestore::SqliteStore::Mode::read );
      std::string const rows = rowsOf( store );
      ++( rows == last              ? counted.unchanged
          : states.contains( rows ) ? counted.absent
                                    : counted.taken );
   } catch ( Corestore::StoreError const & ) {
      ++counted.refused;
   } catch ( Kel::ValueError const & ) {
      ++counted.refused;
   }
}

}  // namespace

Count stateFiles( std::uint64_t count, Random & random, std::string const & scenario ) {
   Count counted{ .kind = "page of a state file" };
   Live::Folder const folder;
   Files const files = filesOf( folder.path(), scenario );
   auto const places = spokenPlaces( files.atRest );
   fs::path const file = folder.path() / "damaged";
   std::string other = files.earlierFile;
   other.resize( files.atRest.size() );
   while ( counted.all != count ) {
      std::string changed = files.atRest;
      damage( changed, places[below( random, places.size() )], 64, other, random );
      if ( below( random, 16 ) == 0 ) {
         changed.resize( below( random, changed.size() ) );
      }
      if ( changed != files.atRest ) {
         write( file, changed );
         readOne( counted, file, files.last, files.states );
      }
   }
   return counted;
}

Count journals( std::uint64_t count, Random & random, std::string const & scenario ) {
   Count counted{ .kind = "page of a journal" };
   Live::Folder const folder;
   Files const files = filesOf( folder.path(), scenario );
   auto const places = spokenPlaces( files.journal );
   fs::path const file = folder.path() / "damaged";
   std::string other = files.earlierJournal;
   other.resize( files.journal.size() );
   while ( counted.all != count ) {
      std::string changed = files.journal;
      damage( changed, places[below( random, places.size() )], 64, other, random );
      if ( below( random, 16 ) == 0 ) {
         changed.resize( below( random, changed.size() ) );
      }
      if ( changed != files.journal ) {
         write( file, files.file );
         write( file.string() + "-wal", changed );
         readOne( counted, file, files.last, files.states );
      }
   }
   return counted;
}

}  // namespace Damage
