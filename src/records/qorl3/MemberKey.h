#pragma once

#include <cstdint>

#include "platform/kel/ValueTraits.h"
#include "platform/wirekit/EthAddr.h"
#include "platform/wirekit/IpGenAddr.h"

namespace QorL3::V1 {

/** A host among those of a group and a VNI. */
struct MemberKey {
   /** 0 in all keys that the agent makes. */
   std::uint16_t vlanId = 0;
   Wirekit::IpGenAddr ip;
   Wirekit::EthAddr mac;

   KEL_KEY_RECORD( MemberKey, vlanId, ip, mac )
   std::size_t hash( std::uint32_t seed ) const { return Kel::combineHash( seed, hash() ); }
};

}  // namespace QorL3::V1
