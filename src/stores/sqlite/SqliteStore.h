#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "platform/corestore/Store.h"

struct sqlite3;
struct sqlite3_stmt;

namespace Corestore {

/**
 * Keeps the rows in a file: one table, a row of it for each, its value as JSON. What `flush` has
 * ended outlives the process, however it ends; after a loss of power the file stands at some
 * earlier `flush`.
 *
 * The file is for one process at a time.
 */
class SqliteStore final : public Store {
 public:
   enum class Mode {
      /** Makes the file if there is none; it becomes its owner's alone. */
      write,
      /** Leaves the file and its folder as they are; nothing may be put or deleted. */
      read
   };

   /** Throws StoreError when the file cannot be used: it is not there or empty (to read), read-only
    *  (to write), in use, damaged, of another version or of another kind. Such a file is left as it
    *  is. */
   explicit SqliteStore( std::string file, Mode mode = Mode::write );
   ~SqliteStore() override;
   SqliteStore( SqliteStore const & ) = delete;
   SqliteStore & operator=( SqliteStore const & ) = delete;

   /** Whether the file begins as those of this kind do, or has no content yet. */
   static bool isSuchFile( std::string const & file );
   /** The file by its plain name, and the journals that may stand beside it. */
   static std::vector< std::string > filesOf( std::string const & file );

   /** Whether it holds a row, written or not yet. */
   bool holdsState() const { return lastPosition_ != 0; }

   void load( std::function< void( Row const & ) > const & row ) override;
   void put( Row const & row ) override;
   void del( std::string const & path ) override;
   void flush() override;

 private:
   enum Statement { begin, commit, putRow, delRow, delBelow, allRows, statements };

   /** As messages name the file. */
   std::string shownFile() const;
   void open( std::string const & path, Mode mode );
   void verify();
   void createSchema();
   /** Also the journal, if there is one: it takes what is written from now on. */
   void makePrivate( std::string const & path );
   void prepare();
   /** Runs SQL that yields nothing. */
   void execute( char const * text );
   /** The first column of the first row; empty for none. */
   std::string ask( char const * text );
   void run( Statement which, std::initializer_list< std::string_view > texts );
   void beginStep();
   /** Throws StoreError with the database's own reason, after undoing the step under way. */
   [[noreturn]] void fail( char const * what );
   void close() noexcept;

   std::string file_;
   sqlite3 * database_ = nullptr;
   std::array< sqlite3_stmt *, statements > prepared_{};
   bool stepOpen_ = false;
   /** Numbers the rows; it only grows, and numbers may be left out. */
   std::int64_t lastPosition_ = 0;
};

}  // namespace Corestore
