#include "switch/openflow/Learn.h"

namespace OpenFlow {

namespace {

constexpr Bits vid{ Fields::loadVlanTci, 0, 12 };

}  // namespace

Learn learnHost( std::uint8_t table, std::uint16_t priority, std::uint16_t idleTimeout,
                 std::uint64_t cookie, unsigned reg ) {
   using To = Learn::Step::To;
   return { table,
            priority,
            idleTimeout,
            0,
            cookie,
            { { To::match, vid, vid },
              { To::match, bitsOf( Fields::loadEthSrc ), bitsOf( Fields::loadEthDst ) },
              { To::load, bitsOf( Fields::loadInPort ), { Fields::reg( reg ), 0, 16 } } } };
}

Learn learnNextHop( std::uint8_t table, std::uint16_t priority, std::uint16_t idleTimeout,
                    std::uint64_t cookie, unsigned reg ) {
   using To = Learn::Step::To;
   return { table,
            priority,
            idleTimeout,
            0,
            cookie,
            { { To::match, bitsOf( Fields::loadArpSpa ), bitsOf( Fields::reg( reg ) ) },
              { To::load, bitsOf( Fields::loadArpSha ), bitsOf( Fields::loadEthDst ) },
              { To::load, vid, vid } } };
}

}  // namespace OpenFlow
