#pragma once

#include <string>
#include <vector>

#include "platform/corestore/EntityManager.h"
#include "platform/kel/Value.h"

namespace Documents {

/** A member of a document that does not stand so in the state. */
struct Unmet {
   /** JSON pointer inside the document. */
   std::string pointer;
   /** JSON on one line; "nothing" for what is absent. */
   std::string wanted;
   std::string found;
};

/** All that a checked document names and that does not stand so. Null wants a thing to be absent,
 *  or a scalar to be at its default; what the document does not name is free. */
std::vector< Unmet > compareState( Corestore::EntityManager const & em,
                                   Kel::Value const & document );

}  // namespace Documents
