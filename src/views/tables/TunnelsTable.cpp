#include "records/catalog/Catalog.h"
#include "views/packet/Ports.h"
#include "views/tables/Tables.h"
#include "views/tables/TunnelFacts.h"

namespace Views {

TextTable tunnelsTable( Corestore::EntityManager const & em, Choice const & choice ) {
   TextTable table( { "TUNNEL", "ADDRESS", "END POINT", "VNIS", "HOSTS" }, choice );
   auto const tunnels = em.entity< Vxlan::VtiStatusDir >( Catalog::pathOf( "vtiStatusDir" ) );
   auto const ends = endPointsOf( em );
   auto const noState = [] { return ""; };
   for ( Wirekit::IntfId const & name : Ports( em ).tunnels() ) {
      auto const tunnel = tunnels->vtiStatus( name );
      Cell const own = tunnel->addr().isZero() ? Cell() : Cell( tunnel->addr().stringValue() );
      bool leadsSomewhere = false;
      for ( auto const & end : ends ) {
         if ( isBehind( *tunnel, end.first ) ) {
            leadsSomewhere = true;
            table.row( noState, [&] {
               return cellsOf( name.stringValue(), own, end.first.stringValue(),
                               rangesOf( end.second.vnis ), end.second.hosts );
            } );
         }
      }
      if ( !leadsSomewhere ) {
         table.row( noState,
                    [&] { return cellsOf( name.stringValue(), own, Cell(), Cell(), 0 ); } );
      }
   }
   return table;
}

}  // namespace Views
