#include "records/catalog/Meaning.h"
#include "records/routing/VirtualRouterMacStatus.h"

namespace Catalog {

namespace {

bool const known = meaningsAre( [] {
   return Meanings{
      meaningOf< Routing::Fhrp::VirtualRouterMacStatus >(
         "The virtual router", { { "virtualRouterMac", "its address; zero for none" } } ),
   };
} );

}  // namespace

}  // namespace Catalog
