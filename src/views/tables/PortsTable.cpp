#include "views/packet/Ports.h"
#include "views/tables/PortFacts.h"
#include "views/tables/Tables.h"

namespace Views {

TextTable portsTable( Corestore::EntityManager const & em, Choice const & choice ) {
   constexpr std::size_t namedSets = 20;
   TextTable table( { "PORT", "VLANS", "UNTAGGED", "SETS", "HOSTS" }, choice );
   Ports const ports( em );
   auto vlans = vlansOfPorts( em );
   auto sets = setsByPort( em, namedSets );
   auto hosts = hostsByPort( em, 0 );
   for ( Wirekit::IntfId const & port : portsOf( em ) ) {
      table.row( [] { return ""; },
                 [&] {
                    auto const native = ports.nativeVlan( port ).value();
                    return cellsOf( port.stringValue(), rangesOf( vlans[port] ),
                                    native ? Cell( native ) : Cell(),
                                    sets[port.stringValue()].first, hosts[port].count );
                 } );
   }
   return table;
}

}  // namespace Views
