#pragma once

#include <stdexcept>
#include <string>
#include <string_view>

#include "platform/kel/Value.h"

namespace Corestore {

/** A text that is no JSON; `what()` says where and why, in one line. */
class TextError : public std::runtime_error {
   using std::runtime_error::runtime_error;
};

/** The value that a JSON text stands for, with members in the order of the text. Throws TextError;
 *  a member that stands twice is refused, since one of the two would be lost. */
Kel::Value parseJson( std::string_view text );

/** JSON on one line, with members in the value's own order. */
std::string jsonLine( Kel::Value const & value );
/** Appends the same to a text. */
void addJson( std::string & text, Kel::Value const & value );
/** JSON for people: indented, members sorted by name. */
std::string jsonSorted( Kel::Value const & value );

}  // namespace Corestore
