#pragma once

#include <optional>
#include <string>

#include "web/Changes.h"
#include "web/Counts.h"
#include "web/Situation.h"

namespace Web {

/** What the page's own server counts. */
struct ServerCounts {
   std::size_t connections = 0;
   std::size_t streams = 0;
};

/** All of it in Prometheus's text form; without counts, what is known before the state is read. */
std::string metricsText( std::string const & switchName, std::optional< Counts > const & counts,
                         Situation const & situation, ServerCounts const & server,
                         Changes::Counted const & changes );

/** The text of a label's value. */
std::string labelText( std::string_view text );

}  // namespace Web
