#include "platform/kel/Ptr.h"

#include "platform/kel/Assert.h"

namespace Kel {

void PtrInterface::lastReferenceGone() const noexcept {
   if ( !inUse_ ) {
      const_cast< PtrInterface * >( this )->handleZeroRef();
   }
}

void nullFollowed( char const * place ) {
   endWithText( std::string( "A null pointer was followed: " ) + place );
}

}  // namespace Kel
