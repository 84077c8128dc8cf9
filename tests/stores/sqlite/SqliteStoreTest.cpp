#include "stores/sqlite/SqliteStore.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>
#include <vector>

#include "platform/corestore/ValueText.h"

namespace {

namespace fs = std::filesystem;
using Corestore::Row, Corestore::RowForm, Corestore::SqliteStore, Corestore::StoreError;
using testing::ElementsAre, testing::HasSubstr, testing::StartsWith;

Row entity( std::string const & path, char const * member ) {
   return { path, RowForm::entity, Kel::Value::Object{ { member, true } } };
}

class SqliteStoreTest : public testing::Test {
 protected:
   SqliteStoreTest() {
      std::string pattern = testing::TempDir() + "qorclient-store-XXXXXX";
      directory = mkdtemp( pattern.data() );
      file = directory / "s.db";
   }
   ~SqliteStoreTest() override { fs::remove_all( directory ); }

   static std::vector< std::string > rowsOf( Corestore::Store & store ) {
      std::vector< std::string > rows;
      store.load( [&]( Row const & row ) {
         rows.push_back( row.path + " " + Corestore::jsonLine( row.value ) );
      } );
      return rows;
   }
   std::vector< std::string > rows() const {
      SqliteStore store( file, SqliteStore::Mode::read );
      return rowsOf( store );
   }
   static std::string bytes( fs::path const & of ) {
      std::ostringstream text;
      text << std::ifstream( of, std::ios::binary ).rdbuf();
      return text.str();
   }
   /** Why the file is refused, behind its name; checks that the folder is left as it was. */
   std::string refusal( SqliteStore::Mode mode = SqliteStore::Mode::write ) const {
      std::string const before = bytes( file );
      std::set< std::string > const namesBefore = names();
      std::string why = "not refused";
      try {
         SqliteStore store( file, mode );
      } catch ( StoreError const & e ) {
         why = e.what();
         EXPECT_THAT( why, StartsWith( file + ": " ) );
         why.erase( 0, file.size() + 2 );
      }
      EXPECT_EQ( bytes( file ), before );
      EXPECT_EQ( names(), namesBefore );
      return why;
   }
   std::set< std::string > names() const {
      std::set< std::string > found;
      for ( auto const & entry : fs::directory_iterator( directory ) ) {
         found.insert( entry.path().filename() );
      }
      return found;
   }
   /** Why the file is refused in a process that has made itself ready so. */
   template < class F >
   std::string refusalInChild( F && ready ) const {
      pid_t const child = fork();
      if ( child == 0 ) {
         std::ofstream why( directory / "why" );
         ready();
         try {
            SqliteStore store( file );
            why << "not refused";
         } catch ( StoreError const & e ) {
            why << std::string_view( e.what() ).substr( file.size() + 2 );
         }
         why.close();
         _exit( 0 );
      }
      waitpid( child, nullptr, 0 );
      return bytes( directory / "why" );
   }
   /** Changes the file as another program would. */
   void edit( char const * sql ) const {
      sqlite3 * database = nullptr;
      sqlite3_open( file.c_str(), &database );
      EXPECT_EQ( sqlite3_exec( database, sql, nullptr, nullptr, nullptr ), SQLITE_OK );
      sqlite3_close( database );
   }

   fs::path directory;
   std::string file;
};

TEST_F( SqliteStoreTest, KeepsOrderAndForgetsWhatIsBelowADeletedRow ) {
   {
      SqliteStore store( file );
      store.put( entity( "a", "size" ) );
      for ( char const * key : { "z", "y", "z0", "x" } ) {
         store.put( entity( "a/box/" + std::string( key ), "size" ) );
      }
      store.put( entity( "a/box/z/item/1", "n" ) );
      store.put( entity( "a/box/y", "quoted ' \" \xc3\xa4" ) );
      store.del( "a/box/z" );
      store.put( entity( "a/box/z", "again" ) );
      // A root that has nothing to show leaves what is below it.
      store.put( { "a", RowForm::entity, Kel::Value::Object() } );
      store.flush();
      store.put( entity( "a/box/never", "flushed" ) );
   }
   EXPECT_THAT(
      rows(), ElementsAre( "a/box/y {\"quoted ' \\\" \xc3\xa4\":true}", "a/box/z0 {\"size\":true}",
                           "a/box/x {\"size\":true}", "a/box/z {\"again\":true}" ) );
   // Reading leaves nothing beside the file, which is its owner's alone.
   EXPECT_EQ( std::distance( fs::directory_iterator( directory ), fs::directory_iterator() ), 1 );
   EXPECT_EQ( fs::status( file ).permissions(), fs::perms::owner_read | fs::perms::owner_write );
   std::string const good = bytes( file );
   for ( char const * change :
         { "value = '{\"sizf\":true}'", "path = 'a/box/w'", "position = 2" } ) {
      edit( ( std::string( "update entry set " ) + change + " where path = 'a/box/x'" ).c_str() );
      EXPECT_THAT( [this] { rows(); }, testing::ThrowsMessage< StoreError >(
                                          testing::EndsWith( " is not as it was written" ) ) )
         << change;
      std::ofstream( file, std::ios::binary ) << good;
   }
}

TEST_F( SqliteStoreTest, RefusesWhatIsNotItsOwnAndLeavesIt ) {
   EXPECT_THAT( refusal( SqliteStore::Mode::read ), StartsWith( "cannot be opened" ) );
   EXPECT_FALSE( fs::exists( file ) );
   std::ofstream( file ) << "{ \"a\": \"document, and longer than the head of a database\" }"
                         << std::string( 200, ' ' );
   EXPECT_EQ( refusal(), "cannot be used: file is not a database" );
   fs::remove( file );
   edit( "create table t ( a )" );
   EXPECT_EQ( refusal(), "is a database, but not the state of a switch" );
   edit( "drop table t" );
   for ( auto mode : { SqliteStore::Mode::read, SqliteStore::Mode::write } ) {
      EXPECT_EQ( refusal( mode ), "is a database, but not the state of a switch" );
   }
   fs::remove( file );
   fs::create_directory( file );
   EXPECT_EQ( refusal(), "is no regular file" );
   fs::remove( file );
   {
      SqliteStore store( file );
      EXPECT_EQ( refusal(), "cannot be used: in use by another process" );
      for ( int n = 0; n != 1000; ++n ) {
         store.put( entity( "a/map/" + std::to_string( n ), "b" ) );
      }
      store.flush();
   }
   std::string const good = bytes( file );
   edit( "pragma user_version = 1" );
   EXPECT_EQ( refusal(), "has version 1, this program knows version 3" );
   for ( auto const & [sql, why] :
         { std::pair( "update entry set position = 'x1' where path = 'a/map/7'",
                      "is damaged: a row has the position x1" ),
           { "update entry set position = 9223372036854775807 where path = 'a/map/7'",
             "is damaged: a row has the position 9223372036854775807" },
           { "alter table entry rename to e; create view entry as select * from e",
             "is damaged: it has other tables than the state of a switch" } } ) {
      std::ofstream( file ) << good;
      edit( sql );
      EXPECT_EQ( refusal(), why );
   }
   // Damage in the middle, and a file cut short.
   std::ofstream( file ) << std::string( good ).replace( 44000, 4000, 4000, '\x7f' );
   EXPECT_THAT( refusal(), HasSubstr( "damaged" ) );
   EXPECT_THAT( refusal( SqliteStore::Mode::read ), HasSubstr( "damaged" ) );
   std::ofstream( file ) << good.substr( 0, good.size() / 2 );
   EXPECT_THAT( refusal(), HasSubstr( "malformed" ) );
   std::ofstream( file ) << good;
   EXPECT_EQ( rows().size(), 1000U );
}

TEST_F( SqliteStoreTest, TellsWhyAFileCannotBeOpenedOrWritten ) {
   file = directory / "none/s.db";
   EXPECT_EQ( refusal(), "cannot be made: No such file or directory" );
   file = directory / "s.db";
   { SqliteStore store( file ); }
   fs::permissions( file, fs::perms::owner_read );
   std::string const refused = refusalInChild( [this] {
      fs::permissions( directory, fs::perms::all );
      if ( geteuid() == 0 ) {
         constexpr uid_t nobody = 65534;
         chown( file.c_str(), nobody, nobody ) == 0 && setuid( nobody );
      }
   } );
   if ( refused.ends_with( "Permission denied" ) ) {
      GTEST_SKIP() << "the folder of the tests is closed to other users";
   }
   EXPECT_EQ( refused, "cannot be written: it is read-only" );
}

TEST_F( SqliteStoreTest, IsAStateFromItsFirstByteOn ) {
   std::ofstream( file ) << "";
   EXPECT_EQ( refusal( SqliteStore::Mode::read ), "holds no state yet" );
   // As a process leaves it that is killed while it makes the tables: half there, with a journal.
   refusalInChild( [this] {
      sqlite3 * database = nullptr;
      sqlite3_open( file.c_str(), &database );
      sqlite3_exec( database,
                    "pragma cache_size = 1; begin; create table t ( a );"
                    "insert into t select zeroblob( 9000 ) from json_each( '[1,2,3,4,5,6,7,8]' )",
                    nullptr, nullptr, nullptr );
      _exit( 0 );
   } );
   EXPECT_GT( fs::file_size( file ), 0U );
   EXPECT_TRUE( fs::exists( file + "-journal" ) );
   {
      SqliteStore store( file );
      store.put( entity( "a", "b" ) );
      store.flush();
      // What a copy without the journal holds is an earlier state.
      fs::copy_file( file, directory / "copy.db" );
   }
   file = directory / "copy.db";
   EXPECT_EQ( rows().size(), 0U );
   std::ofstream( file ) << "";
   std::ofstream( file + "-wal" ) << "steps";
   EXPECT_EQ( refusal(), "is damaged: its journal stands alone" );
   fs::remove( file );
   EXPECT_EQ( refusal(), "is damaged: its journal stands alone" );
   EXPECT_TRUE( fs::exists( file + "-wal" ) );
}

TEST_F( SqliteStoreTest, TakesFilesBehindLinksEmptyOnesAndAnyName ) {
   std::ofstream( file ) << "";
   fs::permissions( file, fs::perms::all );
   fs::create_directory( directory / "links" );
   fs::create_symlink( file, directory / "links/l.db" );
   std::string const link = directory / "links/l.db";
   SqliteStore store( link );
   EXPECT_EQ( fs::status( file ).permissions(), fs::perms::owner_read | fs::perms::owner_write );
   // Read while it is open, not yet and already written.
   EXPECT_THROW( SqliteStore( link, SqliteStore::Mode::read ), StoreError );
   store.put( entity( "a", "b" ) );
   store.flush();
   EXPECT_THROW( SqliteStore( link, SqliteStore::Mode::read ), StoreError );

   fs::current_path( directory );
   for ( char const * name : { ":memory:", "file:x?mode=memory", "a%20b#c" } ) {
      {
         SqliteStore odd( name );
         odd.put( entity( "a", "b" ) );
         odd.flush();
      }
      fs::permissions( name, fs::perms::all );
      { SqliteStore again( name ); }
      EXPECT_EQ( fs::status( name ).permissions(), fs::perms::owner_read | fs::perms::owner_write );
      SqliteStore odd( name, SqliteStore::Mode::read );
      EXPECT_EQ( rowsOf( odd ).size(), 1U );
   }
}

TEST_F( SqliteStoreTest, AFullDiskLosesNothingThatWasFlushed ) {
   pid_t const child = fork();
   if ( child == 0 ) {
      // The file may grow to this size only.
      std::signal( SIGXFSZ, SIG_IGN );
      rlimit const limit{ 200'000, 200'000 };
      setrlimit( RLIMIT_FSIZE, &limit );
      std::string why = "none";
      try {
         SqliteStore store( file );
         for ( int n = 0;; ++n ) {
            store.put(
               { "a/map/" + std::to_string( n ), RowForm::value, std::string( 1000, 'x' ) } );
            store.flush();
            std::ofstream( directory / "flushed" ) << n + 1;
         }
      } catch ( StoreError const & e ) {
         why = e.what();
      }
      std::ofstream( directory / "why" ) << why;
      _exit( 0 );
   }
   waitpid( child, nullptr, 0 );
   EXPECT_THAT( bytes( directory / "why" ), StartsWith( file + ": cannot be written: " ) );
   EXPECT_EQ( std::to_string( rows().size() ), bytes( directory / "flushed" ) );
}

}  // namespace
