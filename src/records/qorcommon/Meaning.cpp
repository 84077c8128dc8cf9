#include "records/catalog/Meaning.h"
#include "records/qorcommon/Capability.h"

namespace Catalog {

namespace {

bool const known = meaningsAre( [] {
   return Meanings{
      meaningOf< QorCommon::V1::Capability >(
         "What the platform can do, for the agent and the controller",
         { { "feature", "what is there", "QorCommon::V1::FeatureBit" } } ),
      bitsOf( "QorCommon::V1::FeatureBit", "The features of a platform",
              { { QorCommon::V1::FeatureBit::l3Policy, "l3Policy", "routed policy" },
                { QorCommon::V1::FeatureBit::groupTable, "groupTable", "tables of groups" },
                { QorCommon::V1::FeatureBit::l3PolicyReported, "l3PolicyReported",
                  "goes with l3Policy; for readers other than the agent" } } ),
   };
} );

}  // namespace

}  // namespace Catalog
