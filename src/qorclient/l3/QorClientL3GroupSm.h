#pragma once

#include "platform/kel/Dir.h"
#include "qorclient/l3/GroupSetConfigVrfSm.h"
#include "qorclient/l3/GroupSetStatusVrfSm.h"
#include "qorclient/l3/GroupTypeConfigSm.h"
#include "qorclient/l3/GroupTypeStatusSm.h"

namespace QorClientL3::V1 {

/**
 * Traffic groups, and per VRF the hosts that belong to them: what is configured goes to the flow
 * table, what the hardware made of it goes back as status.
 *
 * At its start it adopts what an earlier run has left in the flow table: an entry that is still
 * wanted is never touched, and a stale end point goes only after all of the configuration has been
 * read.
 */
class GroupSm : public Kel::StateMachine {
   KEL_STATE_MACHINE( QorClientL3::V1::GroupSm )

   // Inputs.
   KEL_REACTOR( KelGroupTypeConfigDir, Kel::Dir const, groupTypeConfigDir,
                KEL_ON( entity, handleGroupTypeConfigDir ) )
   KEL_GIVEN( Kel::Ptr< QorL3::V1::GroupTypeStatus >, groupTypeStatus )
   KEL_REACTOR( KelGroupSetConfigDir, Kel::Dir const, groupSetConfigDir,
                KEL_ON( entity, handleGroupSetConfigDir ) )
   KEL_GIVEN( Kel::Ptr< Kel::Dir >, groupSetStatusDir )
   KEL_GIVEN( Kel::Ptr< OpenFlowTable::PinFlowHwConfig >, pfHwConfig )
   KEL_GIVEN( Kel::Ptr< OpenFlowTable::HwStatus const >, pfHwStatus )

   // Children and own state.
   KEL_CHILD( GroupTypeConfigSm, groupTypeConfigSm )
   KEL_CHILDREN_BY_KEY( L3::VrfName, GroupSetConfigVrfSm, groupSetConfigVrfSm )
   KEL_CHILD( GroupTypeStatusSm, groupTypeStatusSm )
   KEL_CHILDREN_BY_KEY( L3::VrfName, GroupSetStatusVrfSm, groupSetStatusVrfSm )
   /** The end points that the configuration wants, for the comparison at the start (EndPointCache).
    *  The platform never sees it. */
   KEL_OWN( Kel::Ptr< OpenFlowTable::PinFlowHwConfig >, cachedPfHwConfig )
   KEL_OWN( bool, initialized )

   void handleInitialized() override;
   void cleanup();

   // Handlers.
   void handleGroupTypeConfigDir( Kel::Name const & name );
   void handleGroupTypeConfigDir();
   void handleGroupSetConfigDir( Kel::Name const & vrfName );
   void handleGroupSetConfigDir();

 protected:
   void handleEnd() override { cleanup(); }

 private:
   Kel::Ptr< QorL3::V1::GroupTypeConfig const > groupTypeConfig( Kel::Name const & name ) const;
   void deleteStaleGroups();
   /** Also traces how many there are when none can be stale. */
   void deleteStaleEndPoints( bool mayBeStale );
};
KEL_FACTORY( groupSmFactory, GroupSm )

}  // namespace QorClientL3::V1
