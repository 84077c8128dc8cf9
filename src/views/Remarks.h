#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "platform/kel/Value.h"

/* What a policy may say and hardly means. */

namespace Views {

struct Remark {
   /** JSON pointer inside the document. */
   std::string pointer;
   std::string words;
};

/** The remarks on a checked state document. */
std::vector< Remark > remarksOn( Kel::Value const & document );

/** Says of a short or otherwise written name that it is another interface than the one that has
 *  the long name; empty for any other name. */
std::string intfRemark( std::string_view name );

}  // namespace Views
