#pragma once

#include "platform/kel/Value.h"

namespace Documents {

/**
 * The document with numbers where it gives their names: "tableFull" for 5, and for a set of bits
 * also an array of names. The rest is left for the check. Throws Kel::ValueError, with its place,
 * for a name that there isn't.
 */
Kel::Value withNumbers( Kel::Value document );

}  // namespace Documents
