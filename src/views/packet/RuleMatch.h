#pragma once

#include <set>
#include <string>

#include "qorclient/flowtable/Match.h"
#include "records/bridging/VlanId.h"
#include "views/packet/Frame.h"

namespace Views {

/** A frame on its way. */
struct Passing {
   Frame const & frame;
   /** The VLAN that it is in by now. */
   Bridging::VlanId vlan = {};
   /** Routed traffic: it goes to the virtual router, from and to these groups. */
   bool routed = false;
   std::set< Kel::String > fromGroups = {};
   std::set< Kel::String > toGroups = {};
};

/** Whether all that a rule names is as it says; what a frame doesn't have is not. Of the VLAN only
 *  its number counts, and not whether there is a tag. */
bool matches( OpenFlowTable::Match const & match, Passing const & passing );

}  // namespace Views
