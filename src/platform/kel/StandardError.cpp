#include "platform/kel/StandardError.h"

#include <unistd.h>

#include <cerrno>

namespace Kel {

void writeStandardError( std::string_view text ) {
   while ( !text.empty() ) {
      auto const written = ::write( STDERR_FILENO, text.data(), text.size() );
      if ( written < 0 && errno != EINTR ) {
         return;
      }
      text.remove_prefix( written < 0 ? 0 : static_cast< std::size_t >( written ) );
   }
}

}  // namespace Kel
