#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>

#include "platform/wirekit/IpGenAddr.h"
#include "views/packet/Frame.h"

namespace Views {

/* What an Open vSwitch bridge itself says of a frame, by the texts of its daemon. */

/** The ports of a bridge and of its datapath, which all bridges of a daemon share. */
struct BridgePorts {
   /** By name, as flows have them. */
   std::map< std::string, std::string, std::less<> > numbers;
   /** By number, as the datapath has them; of tunnels empty. */
   std::map< std::string, std::string, std::less<> > names;
   /** The one that leads to any tunnel end point, as flows have it; empty for none. */
   std::string tunnel;
};

/** From what "dpif/show" says. */
BridgePorts bridgePorts( std::string const & shown, std::string const & bridge );

/** The frame for "ofproto/trace"; `endPoint` is the switch's own for one that comes through the
 *  tunnel. Nothing for a port that the bridge doesn't have. */
std::optional< std::string > tracedFlow( Frame const & frame, bool isTunnelled,
                                         Wirekit::IpAddr const & endPoint,
                                         BridgePorts const & ports );

/** Where copies leave, in the words of `exitWords`, by what "ofproto/trace" says of the frame. */
std::multiset< std::string > tracedExits( std::string const & trace, Frame const & frame,
                                          BridgePorts const & ports );

}  // namespace Views
