#pragma once

#include <cstdint>

#include "platform/kel/Entity.h"
#include "records/vxlan/Vni.h"

namespace Vxlan {

/** A VNI that someone asks for. */
struct VniSviInfo {
   /** 3 is that of a policy. */
   enum class VniPriority : std::uint32_t { none = 0, policy = 3 };

   Kel::String source;
   VniPriority priority{};
   VniExtOrNone vni;

   KEL_RECORD( VniSviInfo, source, priority, vni )
};

/** The VNIs that one feature asks for. */
class VniSviConfig : public Kel::NamedEntity {
   KEL_SHARED_ENTITY( Vxlan::VniSviConfig )
   KEL_VALUES( VniExtOrNone, VniSviInfo, vniSviInfo, vni )
};
KEL_FACTORY( vniSviConfigFactory, VniSviConfig )

}  // namespace Vxlan
