#pragma once

#include <string>
#include <string_view>

#include "platform/kel/Value.h"

namespace Program {

/* What a service tells of itself, on standard error: one event a line, as "TIME LEVEL TEXT" or as a
 * JSON object, the time in UTC. */

enum class LogLevel { info, warning, error };
enum class LogFormat { text, json };

/** "text" or "json", with the name of whoever logs in the latter. */
void logIs( LogFormat format, std::string const & unit );

/** Whether this is a service whose events are JSON objects. */
bool logsJson();

/** Writes a line in one piece. The fields are for programs: what they say stands in the text,
 *  too. */
void logEvent( LogLevel level, std::string_view text, Kel::Value::Object const & fields = {} );

}  // namespace Program
