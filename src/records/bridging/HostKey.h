#pragma once

#include <cstdint>

#include "platform/kel/ValueTraits.h"
#include "platform/wirekit/EthAddr.h"

namespace Bridging {

/** A forwarding domain of the hardware. */
using Fid = std::uint16_t;

/** The key of a forwarding entry. */
struct HostKey {
   Fid fid = 0;
   Wirekit::EthAddr addr;

   KEL_KEY_RECORD( HostKey, fid, addr )
   friend auto operator<=>( HostKey const &, HostKey const & ) = default;
};

}  // namespace Bridging
