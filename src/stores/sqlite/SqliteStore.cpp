#include "stores/sqlite/SqliteStore.h"

#include <fcntl.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <span>

#include "platform/corestore/EntityRows.h"
#include "platform/corestore/ValueText.h"
#include "platform/kel/StandardError.h"
#include "platform/slab/Words.h"

namespace Corestore {

namespace {

/** Stand in the file's head: "QORC", and the number of the layout below. */
constexpr char const * applicationId = "1364152899";
constexpr char const * version = "3";

/** Rows come back in the order of `position`, and so collections in theirs. There is one tree, not
 *  one of rows and one that leads to them, since what is written most is new rows. The digest is
 *  that of path and value, and the position: the database tells damage of its own pages' structure,
 *  not of what stands in them. */
constexpr char const * schema =
   "CREATE TABLE entry ("
   " path TEXT PRIMARY KEY, value TEXT NOT NULL, position INTEGER NOT NULL,"
   " digest INTEGER NOT NULL ) WITHOUT ROWID";

constexpr char const * sql[] = {
   "BEGIN IMMEDIATE",
   "COMMIT",
   ( "INSERT INTO entry ( path, value, position, digest ) VALUES ( ?, ?, ?3, ?4 + ?3 * 647031 )"
     " ON CONFLICT DO UPDATE SET value = excluded.value, digest = ?4 + position * 647031" ),
   "DELETE FROM entry WHERE path = ?",
   // '0' is the character after '/'.
   "DELETE FROM entry WHERE path > ?1 || '/' AND path < ?1 || '0'",
   "SELECT path, value, digest - position * 647031 FROM entry ORDER BY position",
};

/** Of a row's texts. There is room for a position by its factor, which has bits enough for a change
 *  of the one not to be undone by one of the other. */
std::int64_t digestOf( std::string_view path, std::string_view value ) {
   Slab::Words::Digest digest;
   for ( std::string_view const text : { path, value } ) {
      digest.add( text.size() );
      digest.add( std::as_bytes( std::span( text ) ) );
   }
   return static_cast< std::int64_t >( digest.value() >> 2 );
}

std::string columnText( sqlite3_stmt * statement, int column ) {
   auto const * text = sqlite3_column_text( statement, column );
   auto const size = static_cast< std::size_t >( sqlite3_column_bytes( statement, column ) );
   return text ? std::string( reinterpret_cast< char const * >( text ), size ) : std::string();
}

/** The same file under a name that the database takes as it stands; it has names with a meaning of
 *  their own, and would look for the journal beside a link. */
std::string plainName( std::string const & file ) {
   std::error_code error;
   auto const absolute = std::filesystem::absolute( file, error );
   auto const resolved = std::filesystem::weakly_canonical( absolute, error );
   return error ? file : resolved.string();
}

/** The name for a database that is neither locked nor written, since nobody writes it. */
std::string immutableName( std::string const & absolute ) {
   std::string name = "file://";
   for ( char c : absolute ) {
      if ( c == '%' || c == '?' || c == '#' ) {
         constexpr char digits[] = "0123456789abcdef";
         name += { '%', digits[c >> 4 & 15], digits[c & 15] };
      } else {
         name += c;
      }
   }
   return name + "?immutable=1";
}

std::string journalOf( std::string const & file ) {
   return file + "-wal";
}

/** The journal of the time in which the file is made. */
std::string firstJournalOf( std::string const & file ) {
   return file + "-journal";
}

constexpr mode_t ownerOnly = S_IRUSR | S_IWUSR;

/** Makes the file if there is none, since the database would let others read it. One that stands is
 *  not opened: its closing would undo this process's locks. Zero, or why it cannot be made. */
int makeFile( std::string const & path ) {
   int const fd = ::open( path.c_str(), O_CREAT | O_EXCL | O_WRONLY | O_CLOEXEC, ownerOnly );
   if ( fd == -1 ) {
      return errno == EEXIST ? 0 : errno;
   }
   ::close( fd );
   return 0;
}

bool stands( std::string const & file ) {
   std::error_code error;
   return std::filesystem::exists( file, error );
}

bool isEmpty( std::string const & file ) {
   std::error_code error;
   return std::filesystem::file_size( file, error ) == 0 && !error;
}

}  // namespace

SqliteStore::SqliteStore( std::string file, Mode mode ) : file_( std::move( file ) ) {
   std::string const path = plainName( file_ );
   bool const journal = stands( journalOf( path ) );
   try {
      open( path, mode );
   } catch ( ... ) {
      close();
      if ( !journal ) {
         std::error_code ignored;
         std::filesystem::remove( journalOf( path ), ignored );
      }
      throw;
   }
}

SqliteStore::~SqliteStore() {
   close();
}

bool SqliteStore::isSuchFile( std::string const & file ) {
   constexpr std::string_view magic( "SQLite format 3\0", 16 );
   char head[magic.size()] = {};
   std::error_code error;
   // The head of a pipe would be missing to whoever reads it next.
   if ( !std::filesystem::is_regular_file( file, error ) ) {
      return false;
   }
   std::ifstream( file, std::ios::binary ).read( head, sizeof head );
   return std::string_view( head, sizeof head ) == magic || isEmpty( file );
}

std::vector< std::string > SqliteStore::filesOf( std::string const & file ) {
   std::string const path = plainName( file );
   return { path, journalOf( path ), firstJournalOf( path ) };
}

std::string SqliteStore::shownFile() const {
   return Kel::shownName( file_ );
}

void SqliteStore::open( std::string const & path, Mode mode ) {
   if ( std::error_code error;
        stands( path ) && !std::filesystem::is_regular_file( path, error ) ) {
      throw StoreError( shownFile() + ": is no regular file" );
   }
   if ( ( !stands( path ) || isEmpty( path ) ) && stands( journalOf( path ) ) ) {
      throw StoreError( shownFile() + ": is damaged: its journal stands alone" );
   }
   if ( int const error = mode == Mode::write ? makeFile( path ) : 0 ) {
      throw StoreError( shownFile() + ": cannot be made: " + std::strerror( error ) );
   }
   // A journal belongs to a process that is at work or was killed; without one the file is at rest.
   bool const still =
      mode == Mode::read && !stands( journalOf( path ) ) && !stands( firstJournalOf( path ) );
   int const flags = still ? SQLITE_OPEN_READONLY | SQLITE_OPEN_URI : SQLITE_OPEN_READWRITE;
   if ( sqlite3_open_v2( still ? immutableName( path ).c_str() : path.c_str(), &database_,
                         flags | SQLITE_OPEN_NOMUTEX, nullptr ) != SQLITE_OK ) {
      fail( "cannot be opened" );
   }
   if ( !still && sqlite3_db_readonly( database_, "main" ) ) {
      throw StoreError( shownFile() +
                        ( mode == Mode::write
                             ? ": cannot be written: it is read-only"
                             : ": cannot be read: it is read-only, and has a journal" ) );
   }
   // A file that turns out to be damaged or another's must not be tidied up when it is closed.
   sqlite3_db_config( database_, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr );
   // One process at a time; it then needs no file of shared memory either.
   execute( "PRAGMA locking_mode = EXCLUSIVE" );
   if ( ask( "PRAGMA page_count" ) == "0" ) {
      if ( mode == Mode::read ) {
         throw StoreError( shownFile() + ": holds no state yet" );
      }
      makePrivate( path );
      createSchema();
   }
   verify();
   if ( mode == Mode::write ) {
      makePrivate( path );
      if ( ask( "PRAGMA journal_mode = WAL" ) != "wal" ) {
         fail( "cannot be made a journalled file" );
      }
      // Every step survives the process; only a loss of power may take the last ones.
      execute( "PRAGMA synchronous = NORMAL" );
      execute( "PRAGMA cache_size = -65536" );
      // Steps gather beside the file and are moved into it in large pieces.
      execute( "PRAGMA wal_autocheckpoint = 4096" );
      sqlite3_db_config( database_, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 0, nullptr );
   }
   prepare();
}

// Before there is a journal, so that the file is a state from its first byte on, even alone.
void SqliteStore::createSchema() {
   // A turn that adds many rows splits fewer of the larger pages.
   execute( "PRAGMA page_size = 16384" );
   execute( "BEGIN IMMEDIATE" );
   execute( schema );
   execute( ( std::string( "PRAGMA application_id = " ) + applicationId ).c_str() );
   execute( ( std::string( "PRAGMA user_version = " ) + version ).c_str() );
   execute( "COMMIT" );
}

void SqliteStore::verify() {
   if ( ask( "PRAGMA application_id" ) != applicationId ) {
      throw StoreError( shownFile() + ": is a database, but not the state of a switch" );
   }
   if ( std::string const found = ask( "PRAGMA user_version" ); found != version ) {
      throw StoreError( shownFile() + ": has version " + found + ", this program knows version " +
                        version );
   }
   if ( ask( "SELECT group_concat( sql, ';' ) FROM sqlite_master" ) != schema ) {
      throw StoreError( shownFile() +
                        ": is damaged: it has other tables than the state of a switch" );
   }
   if ( std::string const found = ask( "PRAGMA quick_check( 1 )" ); found != "ok" ) {
      throw StoreError( shownFile() + ": is damaged: " + Kel::shownName( found ) );
   }
}

void SqliteStore::makePrivate( std::string const & path ) {
   for ( std::string const & name : { path, journalOf( path ) } ) {
      if ( ::chmod( name.c_str(), ownerOnly ) != 0 && errno != ENOENT ) {
         throw StoreError( shownFile() +
                           ": cannot be kept for its owner alone: " + std::strerror( errno ) );
      }
   }
}

void SqliteStore::prepare() {
   // Texts come behind all numbers, so that one that is no position shows here.
   std::string const last = ask( "SELECT coalesce( max( position ), 0 ) FROM entry" );
   constexpr std::int64_t highest = std::int64_t{ 1 } << 42;
   auto const [end, error] =
      std::from_chars( last.data(), last.data() + last.size(), lastPosition_ );
   if ( error != std::errc{} || end != last.data() + last.size() || lastPosition_ > highest ) {
      throw StoreError( shownFile() + ": is damaged: a row has the position " +
                        Kel::shownName( last ) );
   }
   static_assert( std::size( sql ) == statements );
   for ( std::size_t i = 0; i != statements; ++i ) {
      if ( sqlite3_prepare_v3( database_, sql[i], -1, SQLITE_PREPARE_PERSISTENT, &prepared_[i],
                               nullptr ) != SQLITE_OK ) {
         fail( "is damaged" );
      }
   }
}

void SqliteStore::execute( char const * text ) {
   if ( sqlite3_exec( database_, text, nullptr, nullptr, nullptr ) != SQLITE_OK ) {
      fail( "cannot be used" );
   }
}

std::string SqliteStore::ask( char const * text ) {
   sqlite3_stmt * statement = nullptr;
   int code = sqlite3_prepare_v2( database_, text, -1, &statement, nullptr );
   if ( code == SQLITE_OK ) {
      code = sqlite3_step( statement );
   }
   std::string answer = code == SQLITE_ROW ? columnText( statement, 0 ) : std::string();
   if ( code != SQLITE_ROW && code != SQLITE_DONE ) {
      sqlite3_finalize( statement );
      fail( "cannot be used" );
   }
   sqlite3_finalize( statement );
   return answer;
}

void SqliteStore::run( Statement which, std::initializer_list< std::string_view > texts ) {
   sqlite3_stmt * const statement = prepared_[which];
   int parameter = 0;
   for ( std::string_view text : texts ) {
      sqlite3_bind_text64( statement, ++parameter, text.data(), text.size(), SQLITE_STATIC,
                           SQLITE_UTF8 );
   }
   int const code = sqlite3_step( statement );
   sqlite3_reset( statement );
   if ( code != SQLITE_DONE ) {
      fail( "cannot be written" );
   }
}

void SqliteStore::load( std::function< void( Row const & ) > const & row ) {
   sqlite3_stmt * const statement = prepared_[allRows];
   struct Reset {
      sqlite3_stmt * statement;
      ~Reset() { sqlite3_reset( statement ); }
   } const reset{ statement };
   int code;
   while ( ( code = sqlite3_step( statement ) ) == SQLITE_ROW ) {
      Row read{ columnText( statement, 0 ), RowForm::none, {} };
      std::string const value = columnText( statement, 1 );
      if ( sqlite3_column_int64( statement, 2 ) != digestOf( read.path, value ) ) {
         // It is left as it stands, with its journal.
         sqlite3_db_config( database_, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr );
         throw StoreError( shownFile() + ": is damaged: the row " + Kel::shownName( read.path ) +
                           " is not as it was written" );
      }
      try {
         read.value = parseJson( value );
      } catch ( TextError const & e ) {
         refused( { read }, Kel::ValueError( e.what() ) );
         continue;
      }
      row( read );
   }
   if ( code != SQLITE_DONE ) {
      fail( "cannot be read" );
   }
}

void SqliteStore::beginStep() {
   if ( !stepOpen_ ) {
      run( begin, {} );
      stepOpen_ = true;
   }
}

void SqliteStore::put( Row const & row ) {
   beginStep();
   if ( showsNothing( row ) ) {
      run( delRow, { row.path } );
      return;
   }
   std::string const value = jsonLine( row.value );
   sqlite3_bind_int64( prepared_[putRow], 3, ++lastPosition_ );
   sqlite3_bind_int64( prepared_[putRow], 4, digestOf( row.path, value ) );
   run( putRow, { row.path, value } );
}

void SqliteStore::del( std::string const & path ) {
   beginStep();
   run( delRow, { path } );
   run( delBelow, { path } );
}

void SqliteStore::flush() {
   if ( stepOpen_ ) {
      run( commit, {} );
      stepOpen_ = false;
   }
}

void SqliteStore::fail( char const * what ) {
   int const code = sqlite3_errcode( database_ );
   int const system = sqlite3_system_errno( database_ );
   std::string const reason = code == SQLITE_BUSY ? "in use by another process"
                              : code == SQLITE_CANTOPEN && system != 0
                                 ? std::strerror( system )
                                 : Kel::shownName( sqlite3_errmsg( database_ ) );
   if ( stepOpen_ ) {
      stepOpen_ = false;
      sqlite3_exec( database_, "ROLLBACK", nullptr, nullptr, nullptr );
   }
   throw StoreError( shownFile() + ": " + what + ": " + reason );
}

void SqliteStore::close() noexcept {
   for ( sqlite3_stmt *& statement : prepared_ ) {
      sqlite3_finalize( statement );
      statement = nullptr;
   }
   // A step under way is undone.
   sqlite3_close( database_ );
   database_ = nullptr;
}

}  // namespace Corestore
