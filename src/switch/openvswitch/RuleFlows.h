#pragma once

#include <functional>
#include <optional>
#include <string_view>

#include "platform/wirekit/EthAddr.h"
#include "qorclient/flowtable/FlowEntry.h"
#include "switch/openvswitch/FlowBook.h"
#include "switch/openvswitch/Topology.h"

namespace OpenVSwitch {

/** What a rule is read against. */
struct RuleContext {
   Topology const & topology;
   /** Zero for none. */
   Wirekit::EthAddr virtualRouterMac;
   /** The number of a group of end points; nothing for one that isn't there. */
   std::function< std::optional< std::uint32_t >( Kel::String const & group ) > groupNumber;
};

/** A rule of the flow table as flows of the bridge, in the table of its place in the pipeline. What
 *  the bridge cannot do, and what has no meaning, is refused by its name. */
WantedFlows ruleFlows( Kel::String const & name, OpenFlowTable::FlowEntry const & entry,
                       RuleContext const & context );

}  // namespace OpenVSwitch
