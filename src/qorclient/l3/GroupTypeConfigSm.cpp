#include "qorclient/l3/GroupTypeConfigSm.h"

#include "platform/flashlog/DualLog.h"

KEL_TRACE_UNIT( "QorClientL3GroupSm", "QorClientL3GroupSm" )

KEL_MACHINE_TYPE( QorClientL3::V1::GroupTypeConfigSm )

namespace QorClientL3::V1 {

void GroupTypeConfigSm::handleInitialized() {
   KEL_TRACE_SCOPE();
   initializedIs( true );
   handleGroupType();
}

void GroupTypeConfigSm::handleGroupType( Kel::String const & name ) {
   if ( !initialized() ) {
      KEL_TRACE_INFO( "Not initialized" );
      return;
   }
   KEL_TRACE_SCOPE( name );
   if ( groupTypeConfig()->group( name ) == QorL3::V1::GroupType{} ) {
      KEL_TRACE_INFO( "group type removed ", name );
      pfHwConfig()->trafficGroupDel( name );
   } else {
      KEL_TRACE_INFO( "group type added ", name );
      pfHwConfig()->trafficGroupIs( name, OpenFlowTable::TrafficStreamGroupType::normal );
   }
}

void GroupTypeConfigSm::handleGroupType() {
   KEL_TRACE_SCOPE();
   for ( Kel::String const & name : groupTypeConfig()->groupKeys() ) {
      handleGroupType( name );
   }
}

void GroupTypeConfigSm::cleanup() {
   KEL_TRACE_SCOPE();
   pfHwConfig()->trafficGroupDelAll();
   initializedIs( false );
}

}  // namespace QorClientL3::V1
