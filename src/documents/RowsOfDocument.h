#pragma once

#include <string>
#include <vector>

#include "platform/kel/Value.h"

namespace Documents {

/** The rows of the state that a patch touches, by their paths. */
struct TouchedRows {
   /** Those that it names, be they there or not. */
   std::vector< std::string > named;
   /** Places of which it takes out all that stands there and below. */
   std::vector< std::string > taken;
};
/** Of a checked document. */
TouchedRows rowsOf( Kel::Value const & document );

}  // namespace Documents
