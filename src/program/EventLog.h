#pragma once

#include <string_view>

namespace Program {

/* What a service tells of itself, on standard error: one event a line, "TIME LEVEL TEXT", the time
 * in UTC. */

enum class LogLevel { info, warning, error };

/** Writes a line in one piece. */
void logEvent( LogLevel level, std::string_view text );

}  // namespace Program
