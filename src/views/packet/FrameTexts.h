#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "views/packet/Frame.h"
#include "views/packet/Ports.h"

namespace Views {

/** A frame as a person writes it. */
struct FrameTexts {
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
};

/** What is wrong with such a text; empty if nothing is. */
std::string checkMac( std::string const & text );
std::string checkIp( std::string const & text );
std::string checkEtherType( std::string const & text );

/** The frame; the texts were checked. */
Frame frameOf( FrameTexts const & texts );

/** What doesn't fit in the frame; empty if all does. */
std::string whyNone( Frame const & frame, Ports const & ports );

}  // namespace Views
