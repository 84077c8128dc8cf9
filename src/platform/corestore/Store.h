#pragma once

#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include "platform/kel/HashMap2018.h"
#include "platform/kel/String.h"
#include "platform/kel/Value.h"
#include "platform/kel/Walk.h"

namespace Corestore {

/** One entry of one attribute, in text. */
struct Row {
   /** The entity's path; keys inside it are escaped as in a JSON pointer. */
   std::string path;
   std::string attribute;
   /** Empty for an attribute without keys. */
   std::string key;
   /** JSON on one line. For an entity: its type's name. */
   std::string value;

   friend bool operator==( Row const &, Row const & ) = default;
};

/** A store that cannot be used; `what()` is one line and names the file. */
class StoreError : public std::runtime_error {
   using std::runtime_error::runtime_error;
};

/** What another process did to a row. */
struct RowChange {
   /** Without a value where the row is gone. */
   Row row;
   bool deleted = false;
};

/** What stands behind the entity manager. Each operation may throw StoreError. */
class Store {
 public:
   virtual ~Store() = default;
   /** Yields every row: rows of one attribute in the order in which they were put first, an
    *  entity's own row before the rows below its path. */
   virtual void load( std::function< void( Row const & ) > const & row ) = 0;
   /** Adds a row, or replaces the value of the one that has its path, attribute and key. */
   virtual void put( Row const & row ) = 0;
   /** Removes a row and, where it stood for an entity, all rows below that entity's path. */
   virtual void del( std::string const & path, std::string const & attribute,
                     std::string const & key ) = 0;
   /** What was put and deleted since the last time becomes one step: a process that is killed
    *  leaves all of it or nothing. Throws StoreError, and then nothing of it is kept. */
   virtual void flush() = 0;

   /** Takes changes that others have made, all that came together, in the order in which they are
    *  to be applied. */
   using Arrivals = std::function< void( std::vector< RowChange > changes ) >;
   /** From now on `arrivals` is called from the scheduler with what others change; empty for
    * nobody. A store that has one process at a time calls nobody. */
   virtual void arrivalsTo( Arrivals /* arrivals */ ) {}
   /** A change by others that does not fit the state, and why; it was left out. */
   virtual void refused( RowChange const &, std::string const & /* reason */ ) {}
};

/** Keeps the rows in memory, for as long as it lives itself. */
class MemoryStore final : public Store {
 public:
   void load( std::function< void( Row const & ) > const & row ) override;
   void put( Row const & row ) override;
   void del( std::string const & path, std::string const & attribute,
             std::string const & key ) override;
   void flush() override {}

 private:
   using Rows = Kel::HashMap2018< Kel::String, Row >;
   Rows rows_;
};

}  // namespace Corestore
