#pragma once

#include <cstdint>

namespace OpenVSwitch {

/* The pipeline: a table a step. A frame is in its VLAN, with a tag, from the first table on; the
 * steps that several ways share are entered by resubmit. */

/** The tables of the bridge, in the order in which a frame meets them. */
namespace Table {
/** The VLAN of the port, or of the tunnel's VNI. */
inline constexpr std::uint8_t arrival = 0;
/** Rules before lookup. */
inline constexpr std::uint8_t preLookup = 10;
/** The groups of sender and receiver, for routed frames alone. */
inline constexpr std::uint8_t sourceGroup = 11;
inline constexpr std::uint8_t destinationGroup = 12;
/** ARP rules and routed policy. */
inline constexpr std::uint8_t lookup = 13;
/** Next hops: configured ones before those that ARP has told. */
inline constexpr std::uint8_t nexthop = 14;
inline constexpr std::uint8_t redirect = 15;
/** Learns, and comes back. */
inline constexpr std::uint8_t learning = 20;
/** Looks up the destination in the three after it, of which the last one counts. */
inline constexpr std::uint8_t destination = 30;
inline constexpr std::uint8_t remoteHosts = 31;
inline constexpr std::uint8_t learntHosts = 32;
inline constexpr std::uint8_t offeredHosts = 33;
/** To the port that was found, or to all. */
inline constexpr std::uint8_t flooding = 40;
/** At the port of exit: does it carry the VLAN? */
inline constexpr std::uint8_t departure = 45;
/** Rules before transmission. */
inline constexpr std::uint8_t preTransmit = 50;
inline constexpr std::uint8_t output = 60;
}  // namespace Table

/** The registers of a frame on its way; all are zero at first. */
namespace Register {
/** The port of exit; zero for none yet. */
inline constexpr unsigned exitPort = 0;
inline constexpr unsigned sourceGroup = 1;
inline constexpr unsigned destinationGroup = 2;
/** 1 for a frame that came without a tag. */
inline constexpr unsigned untagged = 3;
/** The IPv4 address of the next hop. */
inline constexpr unsigned nexthop = 5;
}  // namespace Register

/** The cookies of flows that the switch makes itself. Those of ours are hashes, which are never as
 *  small. */
namespace Cookie {
inline constexpr std::uint64_t learntHost = 1;
inline constexpr std::uint64_t learntNexthop = 2;
inline constexpr std::uint64_t firstOwn = 1 << 8;

/** Whether the switch makes such flows, in that table. */
constexpr bool isLearnt( std::uint8_t table, std::uint64_t cookie ) {
   return ( table == Table::learntHosts && cookie == learntHost ) ||
          ( table == Table::nexthop && cookie == learntNexthop );
}
}  // namespace Cookie

}  // namespace OpenVSwitch
