#pragma once

#include <cstdint>
#include <string>

#include "program/LiveState.h"

namespace Program {

struct OpenVSwitchOptions {
   LiveOptions live;
   bool endIfHeld = false;
   double lease = 10;
   std::string logFormat = "text";
   std::string bridge;
   /** The switch's folder of sockets. */
   std::string runFolder = "/var/run/openvswitch";
   std::string vlanPool;
   /** The address of this switch's tunnel end point; empty for none. */
   std::string vtep;
   std::uint16_t ageing = 300;
};

/** What is wrong with a range of VLANs, or with the address of a tunnel end point; empty if nothing
 *  is. */
std::string checkVlanPool( std::string const & text );
std::string checkEndPoint( std::string const & text );

/** The other agents of a switch on an Open vSwitch bridge, as a service. */
int steerOpenVSwitch( OpenVSwitchOptions const & options );

}  // namespace Program
