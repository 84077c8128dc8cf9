#include "platform/slab/Table.h"

#include "platform/flashlog/DualLog.h"

KEL_TRACE_UNIT( "Slab", "Slab" )

namespace Slab {

void TableEntity::doCorruptionDetected( std::string const & message ) const {
   if ( corruptions_.insert( message ).second ) {
      KEL_TRACE_ALERT( "corruption detected: ", message );
   }
}

}  // namespace Slab
