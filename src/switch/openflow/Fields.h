#pragma once

#include <cstdint>
#include <string>

namespace OpenFlow {

/** A field of a frame, or of what the switch knows about one, as matches and actions name it. */
struct Field {
   std::uint16_t oxmClass = 0;
   std::uint8_t number = 0;
   /** In bytes, without a mask. */
   std::uint8_t size = 0;

   /** As it stands in front of a value. */
   constexpr std::uint32_t header( bool masked = false ) const {
      return std::uint32_t{ oxmClass } << 16 | std::uint32_t{ number } << 9 |
             ( masked ? 1U << 8 : 0 ) | ( masked ? 2U * size : size );
   }
   constexpr unsigned bits() const { return size * 8U; }

   friend constexpr bool operator==( Field, Field ) = default;
};

/** The fields that flows of this program name. */
namespace Fields {

inline constexpr Field inPort{ 0x8000, 0, 4 };
inline constexpr Field ethDst{ 0x8000, 3, 6 };
inline constexpr Field ethSrc{ 0x8000, 4, 6 };
inline constexpr Field ethType{ 0x8000, 5, 2 };
/** The number of the tag, and a bit above it that says that there is one. */
inline constexpr Field vlanVid{ 0x8000, 6, 2 };
inline constexpr Field ipProtocol{ 0x8000, 10, 1 };
inline constexpr Field ip4Src{ 0x8000, 11, 4 };
inline constexpr Field ip4Dst{ 0x8000, 12, 4 };
inline constexpr Field tcpSrc{ 0x8000, 13, 2 };
inline constexpr Field tcpDst{ 0x8000, 14, 2 };
inline constexpr Field udpSrc{ 0x8000, 15, 2 };
inline constexpr Field udpDst{ 0x8000, 16, 2 };
inline constexpr Field arpOperation{ 0x8000, 21, 2 };
inline constexpr Field arpSpa{ 0x8000, 22, 4 };
inline constexpr Field arpTpa{ 0x8000, 23, 4 };
inline constexpr Field ip6Src{ 0x8000, 26, 16 };
inline constexpr Field ip6Dst{ 0x8000, 27, 16 };
inline constexpr Field tunId{ 0x8000, 38, 8 };
inline constexpr Field tunDst{ 0x0001, 32, 4 };
/** A frame's kind; Ethernet where a match doesn't name it. */
inline constexpr Field packetType{ 0x8000, 44, 4 };

/** One of the sixteen registers. */
constexpr Field reg( unsigned n ) {
   return { 0x0001, static_cast< std::uint8_t >( n ), 4 };
}

// As actions that load, move or learn name them: with the numbers of the switch's own, which it
// gives back whatever it was given.
inline constexpr Field loadInPort{ 0x0000, 0, 2 };
inline constexpr Field loadEthDst{ 0x0000, 1, 6 };
inline constexpr Field loadEthSrc{ 0x0000, 2, 6 };
inline constexpr Field loadVlanTci{ 0x0000, 4, 2 };
inline constexpr Field loadArpSpa{ 0x0000, 16, 4 };
inline constexpr Field loadArpSha{ 0x0001, 17, 6 };

}  // namespace Fields

/** The field's name in the words of the switch's own tools, by number where it has none here. */
std::string nameOf( Field field );

/** In the class of `vlanVid`: there is a tag. */
inline constexpr std::uint16_t vlanPresent = 0x1000;

/** Some bits of a field. */
struct Bits {
   Field field;
   std::uint16_t first = 0;
   std::uint16_t count = 0;

   friend constexpr bool operator==( Bits const &, Bits const & ) = default;
};

constexpr Bits bitsOf( Field field ) {
   return { field, 0, static_cast< std::uint16_t >( field.bits() ) };
}

/** Numbers of ports that are none. */
namespace Ports {

/** Where the frame has come in, to which `outputPort` doesn't send. */
inline constexpr std::uint32_t inPort = 0xfffffff8;
/** The bridge's own interface. */
inline constexpr std::uint32_t local = 0xfffffffe;
inline constexpr std::uint32_t any = 0xffffffff;

}  // namespace Ports

/** In the place of a table's number. */
inline constexpr std::uint8_t allTables = 0xff;

}  // namespace OpenFlow
