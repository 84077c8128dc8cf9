#pragma once

#include <string_view>

namespace Kel {

/** Writes the text to standard error, unbuffered and in one piece if the system takes it so; a
 * failure is ignored, since there is nowhere left to tell it. */
void writeStandardError( std::string_view text );

}  // namespace Kel
