#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace Kel {

/** Opens those of the descriptors 0 to 2 that are closed, so that no file gets one of them and is
 *  written over by messages. Using them fails, as with one that is closed. */
void keepStandardDescriptors();

/** Writes the text to standard error, unbuffered and in one piece if the system takes it so; a
 * failure is ignored, since there is nowhere left to tell it. */
void writeStandardError( std::string_view text );

/** The text on one line: a "?" for each line end and control character. */
std::string oneLine( std::string_view text );
/** A name as messages show it: on one line, and cut behind 200 characters. */
std::string shownName( std::string_view name );
/** Names with a comma between them, cut as above; of many only the first ones. */
std::string shownNames( std::vector< std::string > const & names, std::size_t most = 40 );

}  // namespace Kel
