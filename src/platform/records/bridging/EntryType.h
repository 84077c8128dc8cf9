#pragma once

#include <cstdint>

namespace Bridging {

/** How a forwarding entry came to be. 0 stands for no entry. */
enum class EntryType : std::uint32_t { none = 0 };

/** Whether the address was learnt on this switch or its peer, and not over a tunnel. */
constexpr bool isEntryTypeLocal( EntryType type ) {
   auto const number = static_cast< std::uint32_t >( type );
   return number >= 4 && number <= 6;
}

}  // namespace Bridging
