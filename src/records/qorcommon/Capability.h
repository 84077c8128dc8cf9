#pragma once

#include <cstdint>

#include "platform/kel/Entity.h"

namespace QorCommon::V1 {

/** A set of the bits below. */
using Feature = std::uint32_t;

namespace FeatureBit {
inline constexpr Feature l3Policy = 0x2;
inline constexpr Feature groupTable = 0x4;
/** Goes with l3Policy; for readers other than the agent. */
inline constexpr Feature l3PolicyReported = 0x8;
}  // namespace FeatureBit

/** What the platform can do, for the agent and the controller. */
class Capability : public Kel::NamedEntity {
   KEL_SHARED_ENTITY( QorCommon::V1::Capability )
   KEL_SCALAR( Feature, feature )
};
KEL_FACTORY( capabilityFactory, Capability )

}  // namespace QorCommon::V1
