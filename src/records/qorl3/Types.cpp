#include "records/qorl3/FragmentConfig.h"
#include "records/qorl3/FragmentStatus.h"
#include "records/qorl3/GroupSetConfig.h"
#include "records/qorl3/GroupSetStatus.h"
#include "records/qorl3/GroupType.h"

KEL_SHARED_TYPE( QorL3::V1::FlowGroupConfig )
KEL_SHARED_TYPE( QorL3::V1::FragmentConfig )
KEL_SHARED_TYPE( QorL3::V1::FlowGroupStatus )
KEL_SHARED_TYPE( QorL3::V1::FragmentStatus )
KEL_SHARED_TYPE( QorL3::V1::MemberSetConfig )
KEL_SHARED_TYPE( QorL3::V1::GroupMemberConfig )
KEL_SHARED_TYPE( QorL3::V1::GroupSetConfig )
KEL_SHARED_TYPE( QorL3::V1::MemberSetStatus )
KEL_SHARED_TYPE( QorL3::V1::GroupMemberStatus )
KEL_SHARED_TYPE( QorL3::V1::GroupSetStatus )
KEL_SHARED_TYPE( QorL3::V1::GroupTypeConfig )
KEL_SHARED_TYPE( QorL3::V1::GroupTypeStatus )
