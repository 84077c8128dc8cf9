#pragma once

#include <functional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "platform/kel/HashMap2018.h"
#include "platform/kel/String.h"
#include "platform/kel/Value.h"
#include "platform/kel/Walk.h"

namespace Corestore {

/** What a row stands for, which says how a store may lay it out. */
enum class RowForm {
   /** No row can stand there. */
   none,
   /** An entity; its value is an object of its scalars, without those at their default. `@type`
    *  names its type where a directory holds it, and where it has no scalar to show. */
   entity,
   /** An entry of a map of records; its value is an object of the record's members. */
   record,
   /** An entry of a map of anything else. */
   value,
   /** An entry of a map in books that one agent keeps for itself and nobody watches. */
   book,
   /** The map that holds such entries; it is no row of its own. */
   bookMap
};

/** What comes and goes by itself in the state. */
struct Row {
   /** As in a state document: the root's path, then a step for each attribute and key, escaped as
    *  in a JSON pointer. The entries of a directory stand right below it. */
   std::string path;
   RowForm form = RowForm::none;
   Kel::Value value;

   friend bool operator==( Row const &, Row const & ) = default;
};

/** A store that cannot be used; `what()` is one line and names the store. */
class StoreError : public std::runtime_error {
   using std::runtime_error::runtime_error;
};

/** What another process did to a row. */
struct RowChange {
   /** Without a value where the row is gone. */
   Row row;
   bool deleted = false;
};

/** The state, as the store behind it sees it. */
class RowHolder {
 public:
   /** What stands or may stand at a path, by the types alone. */
   virtual RowForm formOf( std::string_view path ) const = 0;
   /** Takes changes that others have made, all that came together, in the order in which they are
    *  to be applied: in one turn of the scheduler. */
   virtual void arrived( std::vector< RowChange > changes ) = 0;
   /** Yields all that stands, an entity before the rows below it, collections in their order. */
   virtual void forEachRow( std::function< void( Row const & ) > const & row ) const = 0;

 protected:
   ~RowHolder() = default;
};

/** What stands behind the entity manager. Each operation may throw StoreError. */
class Store {
 public:
   virtual ~Store() = default;

   /** What to do with changes at the end of a turn. */
   enum class Takes {
      /** Put them, and flush. */
      now,
      /** Gather them; it will take them at the end of a later turn. */
      later,
      /** Forget them: it will compare all that stands. */
      all
   };
   virtual Takes takes() const { return Takes::now; }

   /** Yields every row: an entity before the rows below it, rows of one collection in the order in
    *  which they were put first. */
   virtual void load( std::function< void( Row const & ) > const & row ) = 0;
   /** Adds a row, or replaces the value of the one that stands at its path. A root whose scalars
    * are all at their default has an empty object and needs no row; what is below it stays. */
   virtual void put( Row const & row ) = 0;
   /** Removes a row and all rows below its path. */
   virtual void del( std::string const & path ) = 0;
   /** What was put and deleted since the last time becomes one step: a process that is killed
    *  leaves all of it or nothing. Throws StoreError, and then nothing of it is kept. */
   virtual void flush() = 0;

   /** Whose state it is from now on, null for nobody's; not owned. A store that has one process at
    *  a time tells it nothing. */
   virtual void holderIs( RowHolder * /* holder */ ) {}
   /** A row that does not fit the state, loaded or changed by others, and why; it was left out.
    *  Here it throws Kel::ValueError with the row's place. */
   virtual void refused( RowChange const & change, Kel::ValueError const & reason );
};

/** Keeps the rows in memory, for as long as it lives itself. */
class MemoryStore final : public Store {
 public:
   void load( std::function< void( Row const & ) > const & row ) override;
   void put( Row const & row ) override;
   void del( std::string const & path ) override;
   void flush() override {}

 private:
   using Rows = Kel::HashMap2018< Kel::String, Row >;
   Rows rows_;
};

}  // namespace Corestore
