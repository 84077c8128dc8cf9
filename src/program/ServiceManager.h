#pragma once

#include <string>

namespace Program {

/** Tells the service manager, where one has started the process, of a state: "READY=1",
 *  "STOPPING=1", "STATUS=TEXT". The protocol is one datagram, for which the manager's library would
 *  load half a dozen others into every command. */
void tellServiceManager( std::string const & state );

}  // namespace Program
