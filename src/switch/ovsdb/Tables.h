#pragma once

#include <map>
#include <string>

#include "switch/ovsdb/Bridge.h"
#include "switch/ovsdb/Json.h"

namespace Ovsdb {

/** The rows of a database that describe its bridges, as a monitor tells them. */
class Tables {
 public:
   /** What to monitor: the tables and their columns. */
   static Json monitored();

   void clear() { tables_.clear(); }
   /** Takes what a monitor tells, at first or later. Throws Kel::ValueError. */
   void update( Json const & updates );
   /** Throws Kel::ValueError for rows that don't say what they should. */
   Bridge bridge( std::string const & name ) const;

 private:
   /** By the row's identity. */
   using Rows = std::map< std::string, Json >;
   Rows const & rows( char const * table ) const;
   BridgePort port( Json const & row ) const;

   std::map< std::string, Rows > tables_;
};

}  // namespace Ovsdb
