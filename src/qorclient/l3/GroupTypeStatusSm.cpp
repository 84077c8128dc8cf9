#include "qorclient/l3/GroupTypeStatusSm.h"

#include "platform/flashlog/DualLog.h"

KEL_TRACE_UNIT( "QorClientL3GroupSm", "QorClientL3GroupSm" )

KEL_MACHINE_TYPE( QorClientL3::V1::PerGroupTypeStatusSm )
KEL_MACHINE_TYPE( QorClientL3::V1::GroupTypeStatusSm )

namespace QorClientL3::V1 {

using QorL3::V1::State;

void PerGroupTypeStatusSm::handleInitialized() {
   KEL_TRACE_SCOPE();
   initializedIs( true );
   handleStatus();
}

void PerGroupTypeStatusSm::handleStatus() {
   if ( !initialized() ) {
      KEL_TRACE_INFO( "Not initialized" );
      return;
   }
   QorL3::V1::GroupInstanceStatus status{ groupName(), State::pending, {} };
   KEL_TRACE_SCOPE( "Group: ", status.name );
   if ( isGroupStateActive() ) {
      KEL_TRACE_INFO( "Group ", status.name, " is active" );
      status.state = State::active;
   } else if ( isGroupStatePending() ) {
      KEL_TRACE_INFO( "Group ", status.name, " is pending" );
   } else if ( isGroupStateError() ) {
      KEL_TRACE_INFO( "Group ", status.name, " has error state: ", groupStatus() );
      status.state = State::error;
   } else {
      KEL_TRACE_INFO( "Group ", status.name, " has unknown state: ", groupStatus() );
      status.state = State::error;
   }
   groupTypeStatus()->groupIs( status );
}

void PerGroupTypeStatusSm::cleanup() {
   KEL_TRACE_SCOPE();
   groupTypeStatus()->groupDel( groupName() );
   initializedIs( false );
}

void GroupTypeStatusSm::handleInitialized() {
   KEL_TRACE_SCOPE();
   initializedIs( true );
   handleGroupType();
}

void GroupTypeStatusSm::handleGroupType( Kel::Name const & name ) {
   if ( !initialized() ) {
      KEL_TRACE_INFO( "Not initialized" );
      return;
   }
   KEL_TRACE_SCOPE( "GroupType ", name );
   Kel::Ptr< OpenFlowTable::TrafficStreamGroupHwStatus const > const groupHwStatus =
      pfHwStatus()->trafficGroupStatus( name );
   if ( groupHwStatus ) {
      perGroupTypeStatusSmIs( groupTypeStatus(), groupHwStatus );
   } else {
      KEL_TRACE_INFO( "Group ", name, " has no status" );
      perGroupTypeStatusSmDel( name );
   }
}

void GroupTypeStatusSm::handleGroupType() {
   KEL_TRACE_SCOPE();
   if ( !initialized() ) {
      KEL_TRACE_INFO( "Not initialized" );
      return;
   }
   for ( Kel::String const & name : groupTypeStatus()->groupKeys() ) {
      if ( groupTypeConfig()->group( name ) == QorL3::V1::GroupType{} ) {
         KEL_TRACE_INFO( "Removing GroupTypeStatus for group ", name );
         groupTypeStatus()->groupDel( name );
      }
   }
   for ( Kel::String const & name : groupTypeConfig()->groupKeys() ) {
      handleGroupType( name );
   }
}

void GroupTypeStatusSm::cleanup() {
   KEL_TRACE_SCOPE();
   perGroupTypeStatusSmDelAll();
   initializedIs( false );
}

}  // namespace QorClientL3::V1
