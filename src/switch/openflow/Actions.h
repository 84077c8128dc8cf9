#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "platform/wirekit/EthAddr.h"
#include "platform/wirekit/IpAddr.h"
#include "switch/openflow/Fields.h"
#include "switch/openflow/Learn.h"

namespace OpenFlow {

class Reader;
class Writer;

/**
 * What happens to the frames of a flow, one thing after the other; they are dropped where nothing
 * does. Kept as it goes over the wire, so that what is read back equals what was sent.
 */
class Actions {
 public:
   /** Puts a tag in front, of VLAN 0. */
   Actions & pushVlan();
   /** Takes the tag away. For this and for `setVlan` the switch wants the match to say that there
    * is a tag, or `pushVlan` before. */
   Actions & popVlan();
   /** Rewrites the tag. */
   Actions & setVlan( std::uint16_t vid );
   Actions & setReg( unsigned n, std::uint32_t value );
   Actions & setEthDst( Wirekit::EthAddr const & address );
   /** One hop less to live; nothing more happens to a packet that has none left. For this the
    * switch wants the match to say that it is IP. */
   Actions & decrementTtl();
   Actions & setTunId( std::uint64_t id );
   Actions & setTunDst( Wirekit::Ip4Addr address );
   /** Some bits of a field. */
   Actions & load( Bits into, std::uint64_t value );
   /** As many bits of one field into another. */
   Actions & move( Bits from, Bits into );
   /** A port that the frame has not come in from: there it goes nowhere. */
   Actions & outputPort( std::uint32_t port );
   /** To the port whose number stands in a register's bits 0 to 15; nowhere for 0. */
   Actions & outputReg( unsigned n );
   /** Back to where it has come in. */
   Actions & outputInPort() { return outputPort( Ports::inPort ); }
   Actions & resubmit( std::uint8_t table );
   /** On a copy of the frame and its registers, which then go on as they were. */
   Actions & clone( Actions const & nested );
   Actions & learn( Learn const & learn );

   /** Nothing happens: frames are dropped. */
   bool isDrop() const { return actions_.empty() && others_.empty(); }
   /** What is loaded into bits of a field that begin at its first one; the last one where there are
    *  several. For flows that were learnt. */
   std::optional< std::uint64_t > loaded( Field field ) const;

   std::size_t hash() const;
   /** In the words of the switch's own tools. */
   std::string text() const;
   friend bool operator==( Actions const &, Actions const & ) = default;

   /** As instructions. */
   void encode( Writer & out ) const;
   /** Takes all that is left in `in` as instructions. Those that it can't build are kept as they
    *  are. Throws DecodeError. */
   static Actions decode( Reader & in );

 private:
   Actions & set( Field field, std::string_view value );

   /** Those that are applied at once. */
   std::string actions_;
   /** Other instructions: of flows that others have made. */
   std::string others_;
};

}  // namespace OpenFlow
