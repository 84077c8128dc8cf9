#pragma once

#include "platform/kel/Entity.h"
#include "records/qorl3/MemberKey.h"
#include "records/vxlan/Vni.h"

namespace QorL3::V1 {

/** A configured host. The default stands for an absent one. */
struct Member : MemberKey {
   bool flag = false;

   KEL_RECORD( Member, vlanId, ip, mac, flag )
};

/** The hosts of a group in one VNI. */
class MemberSetConfig : public Kel::KeyedEntity< Vxlan::VniOrNone > {
   KEL_SHARED_ENTITY_OF( QorL3::V1::MemberSetConfig, ::Kel::KeyedEntity< Vxlan::VniOrNone > )
   KEL_KEY( Vxlan::VniOrNone, vni )
   KEL_MAP( MemberKey, Member, member )

   void memberIs( Member const & value ) { memberIs( value, value ); }
};
KEL_FACTORY( memberSetConfigFactory, MemberSetConfig )

/** The hosts of a group. */
class GroupMemberConfig : public Kel::NamedEntity {
   KEL_SHARED_ENTITY( QorL3::V1::GroupMemberConfig )
   KEL_CHILDREN( Vxlan::VniOrNone, MemberSetConfig, memberSet )
};
KEL_FACTORY( groupMemberConfigFactory, GroupMemberConfig )

/** The groups of a VRF, whose name is the entity's. */
class GroupSetConfig : public Kel::NamedEntity {
   KEL_SHARED_ENTITY( QorL3::V1::GroupSetConfig )
   KEL_CHILDREN( Kel::String, GroupMemberConfig, group )
};
KEL_FACTORY( groupSetConfigFactory, GroupSetConfig )

}  // namespace QorL3::V1
