#pragma once

#include "qorclient/flowtable/TrafficStream.h"
#include "records/qorl3/MemberKey.h"

namespace QorClientL3::V1 {

/** A member of a group as the flow table identifies it. Another VLAN is another end point. */
inline OpenFlowTable::TrafficStreamEndPointId endPointIdOf( L3::VrfName vrf,
                                                            QorL3::V1::MemberKey const & key,
                                                            Bridging::VlanIdOrNone vlan ) {
   return { vrf, key.ip, vlan, key.mac };
}

}  // namespace QorClientL3::V1
