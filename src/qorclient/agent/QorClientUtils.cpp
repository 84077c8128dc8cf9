#include "qorclient/agent/QorClientUtils.h"

#include <algorithm>
#include <string_view>

namespace QorClient {

bool isVti( Kel::String const & intfName ) {
   constexpr std::string_view prefix = "vxlan";
   // Not std::tolower, which depends on the locale.
   auto sameLetter = []( char c, char wanted ) {
      return ( c >= 'A' && c <= 'Z' ? static_cast< char >( c - 'A' + 'a' ) : c ) == wanted;
   };
   std::string_view const start = intfName.view().substr( 0, prefix.size() );
   return std::equal( start.begin(), start.end(), prefix.begin(), prefix.end(), sameLetter );
}

}  // namespace QorClient

namespace QorClientUtils {

Vxlan::VniExtOrNone convertVniToVniExt( Vxlan::VniOrNone vni ) {
   return vni ? Vxlan::VniExtOrNone( vni.value() ) : Vxlan::VniExtOrNone::none();
}

}  // namespace QorClientUtils
