#pragma once

#include <cstdint>

#include "platform/kel/ValueTraits.h"
#include "platform/wirekit/IntfId.h"
#include "records/bridging/EntryType.h"

namespace Slab::Bridging {

/** A forwarding entry; the default stands for an absent one. */
struct SlabFdbStatus {
   Wirekit::IntfId intf;
   ::Bridging::EntryType entryType{};
   std::uint32_t moveCount = 0;

   KEL_RECORD( SlabFdbStatus, intf, entryType, moveCount )
};

}  // namespace Slab::Bridging
