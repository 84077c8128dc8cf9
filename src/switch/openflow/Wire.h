#pragma once

#include <cstddef>
#include <cstdint>

// Numbers of actions and instructions on the wire, for those who write and those who read them.
namespace OpenFlow::Wire {

inline constexpr std::uint16_t applyActions = 4;

inline constexpr std::uint16_t output = 0;
inline constexpr std::uint16_t pushVlan = 17;
inline constexpr std::uint16_t popVlan = 18;
inline constexpr std::uint16_t decrementTtl = 24;
inline constexpr std::uint16_t setField = 25;
inline constexpr std::uint16_t experimenter = 0xffff;

inline constexpr std::uint32_t nicira = 0x2320;
inline constexpr std::uint16_t regMove = 6;
inline constexpr std::uint16_t regLoad = 7;
inline constexpr std::uint16_t resubmitTable = 14;
inline constexpr std::uint16_t outputReg = 15;
inline constexpr std::uint16_t learn = 16;
inline constexpr std::uint16_t clone = 42;

// In front of each step of `learn`, beside the number of bits.
inline constexpr std::uint16_t learnBits = 0x7ff;
inline constexpr std::uint16_t learnToMask = 0x1800;
inline constexpr std::uint16_t learnLoad = 0x0800;
inline constexpr std::uint16_t learnOutput = 0x1000;
inline constexpr std::uint16_t learnNumber = 0x2000;

/** The bytes of a number of so many bits in a step of `learn`. */
constexpr std::size_t learnNumberSize( std::size_t bits ) {
   return ( bits + 15 ) / 16 * 2;
}

/** The port of entry, where ports have two bytes. */
inline constexpr std::uint16_t inPort = 0xfff8;

}  // namespace OpenFlow::Wire
