#pragma once

#include <cstdint>
#include <string>
#include <variant>
#include <vector>

#include "switch/openflow/Fields.h"

namespace OpenFlow {

/** A flow that the switch makes from a frame which it forwards. */
struct Learn {
   /** What is taken out of the frame, or a number, goes into the match or is loaded by an action of
    *  the new flow. As many bits on either side. */
   struct Step {
      enum class To : std::uint8_t { match, load };
      To to = To::match;
      std::variant< Bits, std::uint64_t > from;
      Bits into;

      friend bool operator==( Step const &, Step const & ) = default;
   };

   std::uint8_t table = 0;
   std::uint16_t priority = 0;
   std::uint16_t idleTimeout = 0;
   std::uint16_t hardTimeout = 0;
   std::uint64_t cookie = 0;
   std::vector< Step > steps;

   friend bool operator==( Learn const &, Learn const & ) = default;
};

/** Where a MAC address is: frames of this VLAN to the source of this one are to have its port in
 *  register `reg`, bits 0 to 15. */
Learn learnHost( std::uint8_t table, std::uint16_t priority, std::uint16_t idleTimeout,
                 std::uint64_t cookie, unsigned reg );

/** Who has an IPv4 address, from ARP: frames with this sender's address in register `reg` get the
 *  sender's MAC address as destination, and the VLAN. For flows that match ARP. */
Learn learnNextHop( std::uint8_t table, std::uint16_t priority, std::uint16_t idleTimeout,
                    std::uint64_t cookie, unsigned reg );

}  // namespace OpenFlow
