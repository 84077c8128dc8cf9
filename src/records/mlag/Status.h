#pragma once

#include <cstdint>

#include "platform/kel/Entity.h"

namespace Mlag {

/** The role of the switch in its pair. */
enum class MlagState : std::uint32_t { none = 0, secondary = 4 };

class Status : public Kel::NamedEntity {
   KEL_SHARED_ENTITY( Mlag::Status )
   KEL_SCALAR( MlagState, mlagState )
};
KEL_FACTORY( statusFactory, Status )

}  // namespace Mlag
