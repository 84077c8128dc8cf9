#include "l3/GroupTypeConfigSm.h"

#include "platform/flashlog/DualLog.h"

KEL_TRACE_UNIT( "QorClientL3GroupSm", "QorClientL3GroupSm" )

KEL_MACHINE_TYPE( QorClientL3::V1::GroupTypeConfigSm )

namespace QorClientL3::V1 {

void GroupTypeConfigSm::handleInitialized() {
   KEL_TRACE_ENTRY();
   initializedIs( true );
   handleGroupType();
   KEL_TRACE_RETURN();
}

void GroupTypeConfigSm::handleGroupType( Kel::String const & name ) {
   if ( !initialized() ) {
      return;
   }
   KEL_TRACE_ENTRY( name );
   if ( groupTypeConfig()->group( name ) == QorL3::V1::GroupType{} ) {
      KEL_TRACE_INFO( "group type removed ", name );
      pfHwConfig()->trafficGroupDel( name );
   } else {
      KEL_TRACE_INFO( "group type added ", name );
      pfHwConfig()->trafficGroupIs( name, OpenFlowTable::TrafficStreamGroupType::normal );
   }
   KEL_TRACE_RETURN();
}

void GroupTypeConfigSm::handleGroupType() {
   for ( Kel::String const & name : groupTypeConfig()->groupKeys() ) {
      handleGroupType( name );
   }
}

void GroupTypeConfigSm::cleanup() {
   KEL_TRACE_ENTRY();
   pfHwConfig()->trafficGroupDelAll();
   initializedIs( false );
   KEL_TRACE_RETURN();
}

}  // namespace QorClientL3::V1
