#pragma once

#include <string>

#include "web/Counts.h"
#include "web/Situation.h"

namespace Web {

/** What the page's own server counts. */
struct ServerCounts {
   std::size_t connections = 0;
   std::size_t streams = 0;
};

/** All of it in Prometheus's text form. */
std::string metricsText( std::string const & switchName, Counts const & counts,
                         Situation const & situation, ServerCounts const & server,
                         std::map< std::string, std::uint64_t > const & changes );

/** The text of a label's value. */
std::string labelText( std::string_view text );

}  // namespace Web
