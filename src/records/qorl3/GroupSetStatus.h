#pragma once

#include "platform/kel/Entity.h"
#include "records/qorl3/MemberKey.h"
#include "records/qorl3/State.h"
#include "records/vxlan/Vni.h"

namespace QorL3::V1 {

struct MemberStatus {
   MemberKey key;
   State state{};
   /** The state in words, where there is more to say. */
   Kel::String detail;
   /** That of the configured member. */
   bool flag = false;

   KEL_RECORD( MemberStatus, key, state, detail, flag )
};

class MemberSetStatus : public Kel::KeyedEntity< Vxlan::VniOrNone > {
   KEL_SHARED_ENTITY_OF( QorL3::V1::MemberSetStatus, ::Kel::KeyedEntity< Vxlan::VniOrNone > )
   KEL_KEY( Vxlan::VniOrNone, vni )
   KEL_VALUES( MemberKey, MemberStatus, status, key )
};
KEL_FACTORY( memberSetStatusFactory, MemberSetStatus )

class GroupMemberStatus : public Kel::NamedEntity {
   KEL_SHARED_ENTITY( QorL3::V1::GroupMemberStatus )
   KEL_CHILDREN( Vxlan::VniOrNone, MemberSetStatus, memberSet )
};
KEL_FACTORY( groupMemberStatusFactory, GroupMemberStatus )

/** The state of a VRF's groups, as GroupSetConfig lists them. */
class GroupSetStatus : public Kel::NamedEntity {
   KEL_SHARED_ENTITY( QorL3::V1::GroupSetStatus )
   KEL_CHILDREN( Kel::String, GroupMemberStatus, group )
};
KEL_FACTORY( groupSetStatusFactory, GroupSetStatus )

}  // namespace QorL3::V1
