#include "views/tables/TunnelFacts.h"

#include <charconv>

#include "platform/kel/Dir.h"
#include "records/catalog/Catalog.h"
#include "records/vxlancontroller/VniFdbStatusV2.h"

namespace Views {

std::map< Wirekit::IpAddr, EndPoint > endPointsOf( Corestore::EntityManager const & em ) {
   std::map< Wirekit::IpAddr, EndPoint > ends;
   auto const remote = em.entity< Kel::Dir >( Catalog::pathOf( "nimbusVniBaseDir" ) );
   for ( auto const & vni : remote->entity() ) {
      auto const hosts = Kel::ptrCast< VxlanController::VniFdbStatusV2 const >( vni.value );
      std::uint32_t number{};
      std::string const name = vni.key.stringValue();
      std::from_chars( name.data(), name.data() + name.size(), number );
      for ( auto const & host : hosts->macVtepTable() ) {
         EndPoint & end = ends[host.value.vtepAddr];
         ++end.hosts;
         end.vnis.insert( number );
      }
   }
   return ends;
}

bool isBehind( Vxlan::VtiStatus const & tunnel, Wirekit::IpAddr endPoint ) {
   return endPoint != tunnel.addr() && !endPoint.isZero();
}

}  // namespace Views
