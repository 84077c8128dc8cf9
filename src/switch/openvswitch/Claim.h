#pragma once

#include <string>

namespace OpenVSwitch {

/**
 * A bridge is steered for one switch at a time: processes of two would each take the flows of the
 * other for a foreign hand's. The claim stands until the process ends, however it ends. Of the
 * processes of one switch the lease of its state says which one steers; one that has lost it and
 * does not know yet is no hindrance. False when another switch has the bridge.
 */
bool claimBridge( std::string const & runFolder, std::string const & bridge,
                  std::string const & switchName );

}  // namespace OpenVSwitch
