#include "records/catalog/Meaning.h"
#include "records/vxlancontroller/VniFdbStatusV2.h"

namespace Catalog {

namespace {

bool const known = meaningsAre( [] {
   return Meanings{
      meaningOf< VxlanController::VniFdbStatusV2 >(
         "The hosts of one VNI; the entity's name is the VNI in decimal",
         { { "macVtepTable", "where each host is" } } ),
      meaningOf< VxlanController::MacVtepV2 >(
         "Where a host is, as the controller service says",
         { { "vtepAddr", "the tunnel end point behind which it is" },
           { "kind", "the kind of the entry" },
           { "moveCount", "a serial number that wraps" } } ),
   };
} );

}  // namespace

}  // namespace Catalog
