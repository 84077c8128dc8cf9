#pragma once

#include <sstream>

#include "runner/tables/Tables.h"
#include "runner/why/Flows.h"

namespace Fuzz {

/** All that a person can ask of a state: its tables, and why each flow is as it is. */
inline void showAll( Runner::Switch const & device ) {
   std::ostringstream text;
   for ( std::string const & table : Runner::tableNames() ) {
      Runner::TextTable const cells = Runner::tableOf( table, device );
      cells.print( text );
      cells.printJson( text );
   }
   for ( Runner::FlowPlace const & flow : Runner::flowsOf( device ) ) {
      Runner::Chain const chain = Runner::chainOf( device, flow );
      chain.print( text );
      chain.members();
   }
}

}  // namespace Fuzz
