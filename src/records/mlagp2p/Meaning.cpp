#include "records/catalog/Meaning.h"
#include "records/mlagp2p/Status.h"

namespace Catalog {

namespace {

bool const known = meaningsAre( [] {
   return Meanings{
      meaningOf< MlagP2p::QorClient::Status >(
         "What the agent of the peer switch shares",
         { { "warmHost", "the hosts whose interface the peer knows" } } ),
   };
} );

}  // namespace

}  // namespace Catalog
