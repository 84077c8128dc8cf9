#pragma once

#include <cstdint>

#include "platform/kel/Entity.h"
#include "platform/wirekit/EthAddr.h"
#include "platform/wirekit/IpAddr.h"

namespace VxlanController {

/** The value of `MacVtepV2::kind` for an entry of which the agent takes notice. */
inline constexpr std::uint32_t hostEntryKind = 16;

/** Where a host is, as the controller service says. */
struct MacVtepV2 {
   Wirekit::IpAddr vtepAddr;
   std::uint32_t kind = hostEntryKind;
   /** A serial number that wraps. */
   std::uint32_t moveCount = 0;

   KEL_RECORD( MacVtepV2, vtepAddr, kind, moveCount )
};

/** The hosts of one VNI; the entity's name is the VNI in decimal. */
class VniFdbStatusV2 : public Kel::NamedEntity {
   KEL_SHARED_ENTITY( VxlanController::VniFdbStatusV2 )
   KEL_MAP( Wirekit::EthAddr, MacVtepV2, macVtepTable )
};
KEL_FACTORY( vniFdbStatusV2Factory, VniFdbStatusV2 )

}  // namespace VxlanController
