#pragma once

#include <compare>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "platform/kel/Hash.h"
#include "platform/wirekit/NameTable.h"
#include "platform/wirekit/TextValue.h"

namespace Wirekit {

/**
 * The name of an interface, in four bytes: it copies and compares as a number. Empty by default.
 *
 * Names are kept for the life of the process, and so are the views of them. Any text is a name.
 */
class IntfId {
 public:
   constexpr IntfId() = default;
   explicit IntfId( std::string_view name );

   /** The long name, "Ethernet3/1". */
   std::string_view name() const;
   std::string stringValue() const { return std::string( name() ); }

   /** The first two letters and all from the first digit on, "Et3/1"; the long name if it has no
    *  digit. Only letters ahead of the digit count. */
   std::string_view shortNameView() const;
   std::string shortName() const { return std::string( shortNameView() ); }

   static std::optional< IntfId > parse( std::string_view text ) { return IntfId( text ); }

   /** False for the empty name. */
   constexpr explicit operator bool() const { return index_ != 0; }
   /** Stable within the process only. */
   constexpr std::size_t hash() const { return Kel::mixHash( index_ ); }

   friend constexpr bool operator==( IntfId, IntfId ) = default;
   /** By name, byte by byte. */
   friend std::strong_ordering operator<=>( IntfId a, IntfId b ) {
      return a.index_ == b.index_ ? std::strong_ordering::equal : a.name() <=> b.name();
   }

 private:
   NameTable::Index index_ = 0;
};

}  // namespace Wirekit
