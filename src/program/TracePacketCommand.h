#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "program/StateSource.h"

namespace Program {

/** Which frame is followed, through which state, and for whom. The texts were checked. */
struct TracePacketOptions {
   std::string in;
   std::string from;
   std::string to;
   std::optional< std::uint16_t > vlan;
   std::optional< std::uint32_t > vni;
   /** Empty for that of the addresses, or of IPv4. */
   std::string etherType;
   std::string ipFrom;
   std::string ipTo;
   std::optional< std::uint8_t > protocol;
   std::optional< std::uint16_t > fromPort;
   std::optional< std::uint16_t > toPort;
   StateSource source;
   /** For programs: a JSON array with one object. */
   bool json = false;
};

/** What is wrong with such a text of the command line; empty if nothing is. */
std::string checkMac( std::string const & text );
std::string checkIp( std::string const & text );
std::string checkEtherType( std::string const & text );

/** Prints the way of the frame. Returns the exit code: 2, and a line on standard error, when there
 *  is no such port or the parts of the frame don't fit each other. Throws InputError and
 *  Corestore::StoreError. */
int tracePacket( TracePacketOptions const & options );

}  // namespace Program
