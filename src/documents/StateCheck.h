#pragma once

#include "platform/kel/TypeRecord.h"
#include "platform/kel/Value.h"

namespace Documents {

/** Throws Kel::ValueError, with its place, unless the document names only paths, types, attributes
 *  and keys that there are, with values that they can hold. No entity is needed for it. */
void checkState( Kel::Value const & document );

/** Throws Kel::ValueError unless path, attribute and key may name a row of a table. */
void checkRow( std::string_view path, std::string_view attribute, Kel::Value const & key );

}  // namespace Documents
