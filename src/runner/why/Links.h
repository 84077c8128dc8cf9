#pragma once

#include "platform/records/openflowtable/HwStatus.h"
#include "runner/Switch.h"
#include "runner/tables/Words.h"
#include "runner/why/Chain.h"

namespace Runner {

/** The links that all flows have first: what opens the agent's gate. `routed` adds what the flows
 * of routed traffic need of the platform. */
void addGate( Chain & chain, Switch const & device, bool routed );

/** The hardware's answer to one rule, and the link of it. */
std::string answerWords( std::string const & rule, HardwareAnswer const & answer );
void addAnswer( Chain & chain, std::string const & rule, HardwareAnswer const & answer );

/** Words for a VNI without a VLAN: how far its request has come. */
std::string vniWaits( Switch const & device, std::uint32_t vni );

}  // namespace Runner
