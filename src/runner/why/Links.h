#pragma once

#include "platform/records/openflowtable/HwStatus.h"
#include "runner/Switch.h"
#include "runner/tables/Words.h"
#include "runner/why/Chain.h"

namespace Runner {

/** The links that all flows have first: what opens the agent's gate. `routed` adds what the flows
 * of routed traffic need of the platform. */
void addGate( Chain & chain, Switch const & device, bool routed );

/** Where the hardware answers to the rules of the policy, and to those for routed traffic. */
inline constexpr char const * hardwarePath = "pinflow/pfHwStatusDir/dyninputstatus/qor";
inline constexpr char const * routedHardwarePath = "pinflow/pfHwStatusDir/dyninputstatus/qorl3";

/** The hardware's answer to one rule, and the link of it; `path` is where it answers. */
std::string answerWords( std::string const & rule, HardwareAnswer const & answer );
void addAnswer( Chain & chain, std::string const & rule, HardwareAnswer const & answer,
                char const * path );

/** For a VNI without a VLAN, how far its request has come: words that go on after `words`. */
Reason vniWaits( Switch const & device, std::string const & words, std::uint32_t vni );

}  // namespace Runner
