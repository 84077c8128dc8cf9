#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>

#include "platform/corestore/EntityManager.h"
#include "qorclient/agent/Status.h"
#include "records/bridging/MacVlanPair.h"
#include "records/qor/PolicyFragment.h"
#include "records/slab/SlabFdbStatus.h"

namespace Views {

/** Why something isn't there, and the path of the input that lacks it; null when it is no input
 * that is missing. */
struct Reason {
   std::string words;
   char const * path;
};

/** The policy; null when the controller has published none. */
Kel::Ptr< Qor::V1::QorPolicyFragment const > policyOf( Corestore::EntityManager const & em );

/** The VLAN in which the tunnel interface carries a VNI; of several the first. */
std::optional< Bridging::VlanId > tunnelVlan( Corestore::EntityManager const & em,
                                              std::uint32_t vni );

/** The same of all VNIs. */
std::map< std::uint32_t, Bridging::VlanId > tunnelVlans( Corestore::EntityManager const & em );

/** A host's row in the forwarding database; the empty row when it has none. */
Slab::Bridging::SlabFdbStatus learntRow( Corestore::EntityManager const & em,
                                         Bridging::MacVlanPair const & host );

/** Why the agent has no interface for a host that it looks for: what the switch says of the host,
 *  in words that go on after the host's name. */
Reason whyNotKnown( Corestore::EntityManager const & em, Bridging::MacVlanPair const & host );

/** The fragment whose flows share a rule; empty for a rule that none share. */
std::string fragmentOfSharedRule( QorClient::Status const & agent, Kel::Name const & rule );

/** The VLAN of the service that a fragment puts before a VLAN, where hosts are looked for too. */
using ServiceVlans = std::map< Bridging::VlanId, Bridging::VlanId >;
ServiceVlans serviceVlans( Corestore::EntityManager const & em );
/** The same for many hosts. */
Reason whyNotKnown( Corestore::EntityManager const & em, ServiceVlans const & services,
                    Bridging::MacVlanPair const & host );

/** The details of a flow as the agent reports them, with the hardware's reason where the agent
 * names none. */
std::string detailsOf( Corestore::EntityManager const & em, Kel::String const & fragment,
                       Kel::String const & flow, Kel::String const & reported );

}  // namespace Views
