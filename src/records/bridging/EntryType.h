#pragma once

#include <cstdint>

namespace Bridging {

/** How a forwarding entry came to be. */
enum class EntryType : std::uint32_t {
   none = 0,        ///< no entry
   local = 4,       ///< learnt on this switch
   peer = 5,        ///< learnt on the MLAG peer
   otherLearnt = 6  ///< followed like the two before
};

/** Whether the address was learnt on this switch itself. */
constexpr bool isEntryTypeLocal( EntryType type ) {
   return type == EntryType::local;
}

}  // namespace Bridging
