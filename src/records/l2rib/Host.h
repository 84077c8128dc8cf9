#pragma once

#include <cstdint>

#include "platform/kel/ValueTraits.h"
#include "platform/wirekit/IntfId.h"
#include "records/bridging/MacVlanPair.h"

namespace L2Rib {

/** A place behind an interface of this switch. */
struct CiDest {
   Wirekit::IntfId intfId;

   KEL_RECORD( CiDest, intfId )
};

/** Values of `Host::hostType` and `Host::destType`: what the agent offers is such a host, at an
 *  interface of this switch. */
inline constexpr std::uint32_t offeredHost = 16;
inline constexpr std::uint32_t intfDest = 2;

/** A host that is offered to the L2 RIB. */
struct Host {
   Bridging::MacVlanPair key;
   std::uint32_t hostType = 0;
   std::uint32_t destType = 0;
   /** Which of several offers wins. */
   std::uint32_t preference = 0;
   /** A serial number that wraps. */
   std::uint32_t moveCount = 0;
   /** Seconds of the scheduler's clock at the write. */
   double updateTime = 0;
   CiDest ciDest;

   KEL_FIELDS( Host, key, hostType, destType, preference, moveCount, updateTime, ciDest )
   /** The time doesn't count: the same host written again is no change. */
   friend bool operator==( Host const & a, Host const & b ) {
      return a.key == b.key && a.hostType == b.hostType && a.destType == b.destType &&
             a.preference == b.preference && a.moveCount == b.moveCount && a.ciDest == b.ciDest;
   }
};

}  // namespace L2Rib
