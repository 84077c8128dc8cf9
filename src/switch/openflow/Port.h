#pragma once

#include <cstdint>
#include <string>

#include "platform/wirekit/EthAddr.h"

namespace OpenFlow {

class Reader;

/** A port as the switch describes it. */
struct Port {
   std::uint32_t number = 0;
   Wirekit::EthAddr address;
   std::string name;
   /** Somebody has switched it off. */
   bool isOff = false;
   bool hasLink = false;

   friend bool operator==( Port const &, Port const & ) = default;

   /** Throws DecodeError. */
   static Port decode( Reader & in );
};

enum class PortChange : std::uint8_t { added, removed, modified };

}  // namespace OpenFlow
