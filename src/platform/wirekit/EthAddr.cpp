#include "platform/wirekit/EthAddr.h"

#include <charconv>

namespace Wirekit {

std::string EthAddr::stringValue() const {
   static constexpr char digits[] = "0123456789abcdef";
   std::string text;
   for ( std::uint8_t byte : bytes() ) {
      if ( !text.empty() ) {
         text += ':';
      }
      text += digits[byte >> 4];
      text += digits[byte & 15];
   }
   return text;
}

std::optional< EthAddr > EthAddr::parse( std::string_view text ) {
   Bytes bytes;
   if ( text.size() != 3 * bytes.size() - 1 ) {
      return std::nullopt;
   }
   for ( std::size_t i = 0; i < bytes.size(); ++i ) {
      char const * const first = text.data() + 3 * i;
      auto const [end, error] = std::from_chars( first, first + 2, bytes[i], 16 );
      if ( error != std::errc() || end != first + 2 || ( i > 0 && first[-1] != ':' ) ) {
         return std::nullopt;
      }
   }
   return EthAddr( bytes );
}

}  // namespace Wirekit
