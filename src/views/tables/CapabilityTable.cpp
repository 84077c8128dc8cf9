#include "records/catalog/Catalog.h"
#include "records/qorcommon/Capability.h"
#include "views/tables/Tables.h"

namespace Views {

TextTable capabilityTable( Corestore::EntityManager const & em ) {
   namespace FeatureBit = QorCommon::V1::FeatureBit;
   auto const feature =
      em.entity< QorCommon::V1::Capability >( Catalog::pathOf( "capability" ) )->feature();
   TextTable table( { "BIT", "FEATURE", "AVAILABLE" } );
   QorCommon::V1::Feature others = feature;
   auto add = [&]( QorCommon::V1::Feature bit, char const * name ) {
      others &= ~bit;
      table.row( { bit, name, ( feature & bit ) != 0 } );
   };
   add( FeatureBit::l3Policy, "policy for routed traffic" );
   add( FeatureBit::groupTable, "group table" );
   add( FeatureBit::l3PolicyReported, "policy for routed traffic, as reported" );
   if ( others ) {
      table.row( { others, "others", true } );
   }
   return table;
}

}  // namespace Views
