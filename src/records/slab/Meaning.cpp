#include "records/catalog/Meaning.h"
#include "records/slab/BridgingStatus.h"

namespace Catalog {

namespace {

bool const known = meaningsAre( [] {
   return Meanings{
      meaningOf< Slab::Bridging::Status >( "The forwarding database, in shared memory",
                                           { { "fdbStatus", "where each host was learnt" } } ),
      meaningOf< Slab::Bridging::SlabFdbStatus >(
         "A forwarding entry",
         { { "intf", "the interface behind which the host is" },
           { "entryType", "how it was learnt" },
           { "moveCount", "a serial number that goes up with each move of the host" } } ),
   };
} );

}  // namespace

}  // namespace Catalog
