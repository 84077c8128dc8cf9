#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "platform/records/bridging/MacVlanPair.h"
#include "platform/records/qor/PolicyFragment.h"
#include "platform/records/slab/SlabFdbStatus.h"
#include "runner/Switch.h"

namespace Runner {

/** Why something isn't there, and the path of the input that lacks it; null when it is no input
 * that is missing. */
struct Reason {
   std::string words;
   char const * path;
};

/** The policy; null when the controller has published none. */
Kel::Ptr< Qor::V1::QorPolicyFragment const > policyOf( Switch const & device );

/** The VLAN in which the tunnel interface carries a VNI; of several the first. */
std::optional< Bridging::VlanId > tunnelVlan( Switch const & device, std::uint32_t vni );

/** A host's row in the forwarding database; the empty row when it has none. */
Slab::Bridging::SlabFdbStatus learntRow( Switch const & device,
                                         Bridging::MacVlanPair const & host );

/** Why the agent has no interface for a host that it looks for: what the switch says of the host,
 *  in words that go on after the host's name. */
Reason whyNotKnown( Switch const & device, Bridging::MacVlanPair const & host );

/** The details of a flow as the agent reports them, with the hardware's reason where the agent
 * names none. */
std::string detailsOf( Switch const & device, Kel::String const & fragment,
                       Kel::String const & flow, Kel::String const & reported );

}  // namespace Runner
