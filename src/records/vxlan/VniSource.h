#pragma once

#include <cstdint>
#include <string>

namespace Vxlan {

/** Who asked for a VNI. */
enum class VniSource : std::uint32_t { none = 0, qor = 0x40 };

/** The name of a source; one without a name gives its number. */
inline std::string stringValue( VniSource source ) {
   return source == VniSource::qor ? "qor" : std::to_string( static_cast< unsigned >( source ) );
}

}  // namespace Vxlan
