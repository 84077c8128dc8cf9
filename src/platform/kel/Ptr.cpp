#include "platform/kel/Ptr.h"

namespace Kel {

void PtrInterface::lastReferenceGone() const noexcept {
   if ( !inUse_ ) {
      const_cast< PtrInterface * >( this )->handleZeroRef();
   }
}

}  // namespace Kel
