#pragma once

#include <cstdint>

namespace Bridging {

/** How a forwarding entry came to be. 0 stands for no entry. */
enum class EntryType : std::uint32_t { none = 0 };

/** Whether the address was learnt on this switch itself. */
constexpr bool isEntryTypeLocal( EntryType type ) {
   return static_cast< std::uint32_t >( type ) == 4;
}

}  // namespace Bridging
