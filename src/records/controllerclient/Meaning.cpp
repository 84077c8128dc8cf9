#include "records/catalog/Meaning.h"
#include "records/controllerclient/Status.h"

namespace Catalog {

namespace {

bool const known = meaningsAre( [] {
   return Meanings{
      meaningOf< ControllerClient::Status >(
         "The switch's connection to the controllers",
         { { "enabled", "the switch uses controllers at all" },
           { "leaderServiceStatusDir",
             "the services of the controllers' leader; null while there is none" } } ),
   };
} );

}  // namespace

}  // namespace Catalog
