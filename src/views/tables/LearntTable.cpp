#include <limits>

#include "views/tables/PortFacts.h"
#include "views/tables/Tables.h"

namespace Views {

TextTable learntTable( Corestore::EntityManager const & em, Choice const & choice ) {
   TextTable table( { "HOST", "VLAN", "PORT", "HOW" }, choice );
   for ( auto const & hosts : hostsByPort( em, std::numeric_limits< std::size_t >::max() ) ) {
      for ( HostThere const & there : hosts.second.first ) {
         table.row( [&] { return there.how; },
                    [&] {
                       return cellsOf( there.host.mac.stringValue(), there.host.vlanId.value(),
                                       hosts.first.stringValue(), there.how );
                    } );
      }
   }
   return table;
}

}  // namespace Views
