#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace Lab {

using Mac = std::array< std::uint8_t, 6 >;
/** Reads "02:00:00:00:00:01". */
Mac macOf( std::string_view text );

/** What a frame of a test carries, so that each one is known again wherever it comes. */
struct Mark {
   std::uint32_t stream = 0;
   std::uint32_t number = 0;
   bool isAnswer = false;
   /** What the service has noted in it. */
   bool passedThere = false;
   bool passedBack = false;

   friend bool operator==( Mark const &, Mark const & ) = default;
};

/** An Ethernet frame. */
struct Frame {
   Mac to{};
   Mac from{};
   std::optional< std::uint16_t > vlan;
   std::uint16_t type = 0;
   std::string content;

   std::string bytes() const;
   /** The mark in its content, if any. */
   std::optional< Mark > mark() const;
   /** Puts it in place of the one that stands, or behind the content. */
   void markIs( Mark const & mark );
   /** What answers it: addresses and ports of both sides change places. */
   Frame answer() const;
};

/** A frame as it was received, with the VLAN that was taken out of it, if any. */
std::optional< Frame > frameOf( std::string_view bytes, std::optional< std::uint16_t > vlan );

/** A frame of a protocol that nobody knows. */
Frame plainFrame( Mac const & from, Mac const & to );
Frame broadcastFrame( Mac const & from );
/** Addresses of IPv4 as "192.0.2.1". */
Frame udpFrame( Mac const & from, Mac const & to, char const * fromAddress, char const * toAddress,
                std::uint16_t fromPort = 1000, std::uint16_t toPort = 2000 );
Frame arpRequest( Mac const & from, char const * fromAddress, char const * wanted );
Frame arpReply( Mac const & from, char const * fromAddress, Mac const & to,
                char const * toAddress );
/** IPv6 as "2001:db8::1"; asks for the other's MAC. */
Frame neighbourSolicitation( Mac const & from, char const * fromAddress, char const * wanted );

}  // namespace Lab
