#pragma once

#include "platform/corestore/EntityManager.h"
#include "views/packet/Frame.h"
#include "views/packet/Walk.h"

namespace Views {

/** Follows a frame through rules, hosts and VLANs to where its copies leave, from what the state
 *  says alone. Of the rules those count that the hardware has. */
PacketWalk followFrame( Corestore::EntityManager const & em, Frame const & frame );

}  // namespace Views
