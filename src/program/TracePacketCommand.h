#pragma once

#include "program/StateSource.h"
#include "views/packet/FrameTexts.h"

namespace Program {

/** Which frame is followed, through which state, and for whom. The texts were checked. */
struct TracePacketOptions {
   Views::FrameTexts frame;
   StateSource source;
   /** For programs: a JSON array with one object. */
   bool json = false;
   /** The Open vSwitch bridge that is asked the same; empty for none. */
   std::string bridge;
   std::string runFolder = "/var/run/openvswitch";
};

/** Prints the way of the frame. Returns the exit code: 1 when the bridge does something else; 2,
 * and a line on standard error, when there is no such port, the parts of the frame don't fit each
 *  other, or the bridge doesn't answer. Throws InputError and
 *  Corestore::StoreError. */
int tracePacket( TracePacketOptions const & options );

}  // namespace Program
