#pragma once

#include <stdexcept>
#include <string>
#include <vector>

namespace OpenVSwitch {

/** What the switch's daemon does not answer, in one line. */
class DaemonError : public std::runtime_error {
   using std::runtime_error::runtime_error;
};

/** Asks the daemon whose sockets are in that folder by the one on which it is controlled, as
 *  "dpif/show", and waits for what it says. For commands: it may wait for seconds. Throws
 *  DaemonError. */
std::string askDaemon( std::string const & runFolder, std::string const & command,
                       std::vector< std::string > const & words = {} );

}  // namespace OpenVSwitch
