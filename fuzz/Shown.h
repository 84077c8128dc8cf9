#pragma once

#include <sstream>

#include "views/tables/Tables.h"
#include "views/why/Flows.h"

namespace Fuzz {

/** All that a person can ask of a state: its tables, and why each flow is as it is. */
inline void showAll( Corestore::EntityManager const & em ) {
   std::ostringstream text;
   for ( std::string const & table : Views::tableNames() ) {
      Views::TextTable const cells = Views::tableOf( table, em );
      cells.print( text );
      cells.printJson( text );
   }
   for ( Views::FlowPlace const & flow : Views::flowsOf( em ) ) {
      Views::Chain const chain = Views::chainOf( em, flow );
      chain.print( text );
      chain.members();
   }
}

}  // namespace Fuzz
