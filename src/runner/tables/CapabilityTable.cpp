#include "platform/records/qorcommon/Capability.h"
#include "runner/tables/Tables.h"

namespace Runner {

TextTable capabilityTable( Switch const & device ) {
   namespace FeatureBit = QorCommon::V1::FeatureBit;
   auto const feature =
      device.entity< QorCommon::V1::Capability >( "qorclient/version1/capability" )->feature();
   TextTable table( { "BIT", "FEATURE", "AVAILABLE" } );
   QorCommon::V1::Feature others = feature;
   auto add = [&]( QorCommon::V1::Feature bit, char const * name ) {
      others &= ~bit;
      table.row( { std::to_string( bit ), name, feature & bit ? "yes" : "no" } );
   };
   add( FeatureBit::l3Policy, "policy for routed traffic" );
   add( FeatureBit::groupTable, "group table" );
   add( FeatureBit::l3PolicyReported, "policy for routed traffic, as reported" );
   if ( others ) {
      table.row( { std::to_string( others ), "others", "yes" } );
   }
   return table;
}

}  // namespace Runner
