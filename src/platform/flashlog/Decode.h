#pragma once

#include <ostream>
#include <stdexcept>
#include <string>

namespace Flashlog {

/** Names the file and the reason. */
class DecodeError : public std::runtime_error {
   using std::runtime_error::runtime_error;
};

/** Prints every record of a trace file, all rings merged in the order of recording, a line each:
 * `time level unit:line text`. Times are UTC; control characters in texts show as "\x0a", a text
 * that was cut to fit ends in "...". The file may be in use by its writer.
 * @throw DecodeError if the file is none of ours, or, after all that could be read was printed, if
 *    part of it is damaged or missing. */
void decode( std::string const & path, std::ostream & out );

}  // namespace Flashlog
