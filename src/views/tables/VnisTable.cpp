#include <map>
#include <set>

#include "qorclient/agent/Status.h"
#include "records/catalog/Catalog.h"
#include "records/vxlan/VniSviConfig.h"
#include "views/tables/Tables.h"

namespace Views {

TextTable vnisTable( Corestore::EntityManager const & em ) {
   auto const agent = em.entity< QorClient::Status >( Catalog::pathOf( "agentStatus" ) );
   auto const requested = em.entity< Vxlan::VniSviConfig >( Catalog::pathOf( "vniSviConfig" ) );
   std::map< std::uint32_t, std::set< std::string > > users;
   for ( auto const & binding : agent->boundVni() ) {
      std::string user = binding.key.fragmentName.stringValue();
      if ( !binding.key.intfId.stringValue().empty() ) {
         user += " on " + binding.key.intfId.shortName();
      }
      users[binding.key.vni.value()].insert( user );
   }
   for ( auto const & mapping : agent->vlanForVni() ) {
      users[mapping.key.value()];
   }
   for ( auto const & request : requested->vniSviInfo() ) {
      users[request.key.value()];
   }
   TextTable table( { "VNI", "VLAN", "REQUESTED", "BOUND BY" } );
   for ( auto const & [number, boundBy] : users ) {
      Vxlan::VniExtOrNone const vni( number );
      bool const mapped = agent->vlanForVniHas( vni );
      table.row( { number,
                   mapped ? Cell( agent->vlanForVni( vni ).value() ) : Cell::insteadOf( "waiting" ),
                   requested->vniSviInfoHas( vni ),
                   std::vector< std::string >( boundBy.begin(), boundBy.end() ) } );
   }
   return table;
}

}  // namespace Views
