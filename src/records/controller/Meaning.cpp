#include "records/catalog/Meaning.h"
#include "records/controller/ServiceStatus.h"

namespace Catalog {

namespace {

bool const known = meaningsAre( [] {
   return Meanings{
      meaningOf< Controller::ServiceStatusDir >(
         "The services of one controller",
         { { "service", "the services; those of the agent are \"Qor\" and \"QorL3\"" } } ),
      meaningOf< Controller::ServiceStatusV1 >( "What the controller says of one of its services",
                                                { { "enabled", "the service is on" } } ),
   };
} );

}  // namespace

}  // namespace Catalog
