#pragma once

#include <compare>
#include <cstddef>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>

#include "platform/kel/Hash.h"
#include "platform/wirekit/NameTable.h"

namespace L3 {

/**
 * The name of a VRF, at most `maxLength` bytes, in four bytes. Empty by default.
 *
 * Names are kept for the life of the process, and so are the views of them.
 */
class VrfName {
 public:
   static constexpr std::size_t maxLength = 100;

   constexpr VrfName() = default;
   /** Throws RangeException for a name that is too long. */
   explicit VrfName( std::string_view name );

   std::string_view name() const;
   std::string stringValue() const { return std::string( name() ); }
   static constexpr char const * form = "a name of at most 100 bytes";
   static std::optional< VrfName > parse( std::string_view text );

   /** Stable within the process only. */
   constexpr std::size_t hash() const { return Kel::mixHash( index_ ); }

   friend constexpr bool operator==( VrfName, VrfName ) = default;
   /** By name, byte by byte. */
   friend std::strong_ordering operator<=>( VrfName a, VrfName b ) {
      return a.index_ == b.index_ ? std::strong_ordering::equal : a.name() <=> b.name();
   }
   friend std::ostream & operator<<( std::ostream & out, VrfName vrf ) { return out << vrf.name(); }

 private:
   Wirekit::NameTable::Index index_ = 0;
};

}  // namespace L3
