#pragma once

#include "platform/kel/Entity.h"

namespace Scenarios {

/** The switch's time in seconds, which goes on where the last run ended. */
class Clock : public Kel::NamedEntity {
   KEL_ENTITY( Scenarios::Clock )
   KEL_SCALAR( double, now )
};
KEL_FACTORY( clockFactory, Clock )

}  // namespace Scenarios
