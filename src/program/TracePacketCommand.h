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
};

/** Prints the way of the frame. Returns the exit code: 2, and a line on standard error, when there
 *  is no such port or the parts of the frame don't fit each other. Throws InputError and
 *  Corestore::StoreError. */
int tracePacket( TracePacketOptions const & options );

}  // namespace Program
