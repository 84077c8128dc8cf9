#pragma once

#include "platform/corestore/EntityManager.h"
#include "qorclient/flowtable/HwStatus.h"
#include "records/catalog/Catalog.h"
#include "views/tables/Words.h"
#include "views/why/Chain.h"

namespace Views {

/** The links that all flows have first: what opens the agent's gate. `routed` adds what the flows
 * of routed traffic need of the platform. */
void addGate( Chain & chain, Corestore::EntityManager const & em, bool routed );

/** Where the hardware answers to the rules of the policy, and to those for routed traffic. */
inline char const * const hardwarePath = Catalog::pathOf( "pfHwStatus" );
inline char const * const routedHardwarePath = Catalog::pathOf( "pfHwStatusL3" );

/** The hardware's answer to one rule, and the link of it; `path` is where it answers. */
std::string answerWords( std::string const & rule, HardwareAnswer const & answer );
void addAnswer( Chain & chain, std::string const & rule, HardwareAnswer const & answer,
                char const * path );

/** For a VNI without a VLAN, how far its request has come: words that go on after `words`. */
Reason vniWaits( Corestore::EntityManager const & em, std::string const & words,
                 std::uint32_t vni );

}  // namespace Views
