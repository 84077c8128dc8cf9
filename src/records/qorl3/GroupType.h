#pragma once

#include <array>
#include <cstdint>

#include "platform/kel/Entity.h"
#include "records/qorl3/State.h"

namespace QorL3::V1 {

/** The kind of a group. All zero stands for an absent one. */
struct GroupType {
   std::array< std::uint8_t, 3 > bytes{};

   KEL_RECORD( GroupType, bytes )
};

struct GroupInstanceStatus {
   Kel::String name;
   State state{};
   /** The state in words, where there is more to say. */
   Kel::String detail;

   KEL_RECORD( GroupInstanceStatus, name, state, detail )
};

/** The groups that exist. */
class GroupTypeConfig : public Kel::NamedEntity {
   KEL_SHARED_ENTITY( QorL3::V1::GroupTypeConfig )
   KEL_MAP( Kel::String, GroupType, group )
};
KEL_FACTORY( groupTypeConfigFactory, GroupTypeConfig )

class GroupTypeStatus : public Kel::NamedEntity {
   KEL_SHARED_ENTITY( QorL3::V1::GroupTypeStatus )
   KEL_VALUES( Kel::String, GroupInstanceStatus, group, name )
};
KEL_FACTORY( groupTypeStatusFactory, GroupTypeStatus )

}  // namespace QorL3::V1
