#include "switch/openflow/Bytes.h"
#include "switch/openflow/Message.h"

namespace OpenFlow {

namespace {

constexpr std::size_t longestMessage = 0xffff;
constexpr std::uint32_t noBuffer = ~0U;
constexpr std::uint32_t anyGroup = ~0U;
constexpr std::uint16_t versionBitmap = 1;
/** All at once, and in order. */
constexpr std::uint16_t bundleFlags = 3;
/** What stood, added, removed and changed ones, with what they do. */
constexpr std::uint16_t monitorFlags = 0x1f;

Writer begin( MessageType type, std::uint32_t xid ) {
   Writer out;
   out.u8( protocolVersion ).u8( static_cast< std::uint8_t >( type ) ).u16( 0 ).u32( xid );
   return out;
}

std::string end( Writer out ) {
   out.u16At( 2, static_cast< std::uint16_t >( out.size() ) );
   return out.take();
}

std::optional< std::string > endIfFits( Writer out ) {
   if ( out.size() > longestMessage ) {
      return std::nullopt;
   }
   return end( std::move( out ) );
}

Writer beginMultipart( Multipart type, std::uint32_t xid ) {
   Writer out = begin( MessageType::multipartRequest, xid );
   out.u16( static_cast< std::uint16_t >( type ) ).u16( 0 ).zeros( 4 );
   return out;
}

std::uint8_t commandOf( FlowChange::Kind kind ) {
   switch ( kind ) {
      case FlowChange::Kind::add:
         return 0;
      case FlowChange::Kind::modifyStrict:
         return 2;
      case FlowChange::Kind::deleteStrict:
         break;
   }
   return 4;
}

}  // namespace

std::string helloMessage( std::uint32_t xid ) {
   Writer out = begin( MessageType::hello, xid );
   out.u16( versionBitmap ).u16( 8 ).u32( 1U << protocolVersion );
   return end( std::move( out ) );
}

std::string echoMessage( MessageType type, std::uint32_t xid, std::string_view data ) {
   Writer out = begin( type, xid );
   out.put( data );
   return end( std::move( out ) );
}

std::string barrierMessage( std::uint32_t xid ) {
   return end( begin( MessageType::barrierRequest, xid ) );
}

std::string setAsyncMessage( std::uint32_t xid ) {
   constexpr std::uint16_t packetIn = 1;
   constexpr std::uint16_t portStatus = 3;
   constexpr std::uint16_t flowRemoved = 5;
   Writer out = begin( MessageType::setAsync, xid );
   out.u16( packetIn ).u16( 8 ).u32( 0 );
   out.u16( portStatus ).u16( 8 ).u32( 7 );
   out.u16( flowRemoved ).u16( 8 ).u32( 0 );
   return end( std::move( out ) );
}

std::string portDescriptionsMessage( std::uint32_t xid ) {
   return end( beginMultipart( Multipart::portDescriptions, xid ) );
}

std::string readFlowsMessage( std::uint32_t xid, std::uint8_t table ) {
   Writer out = beginMultipart( Multipart::flows, xid );
   out.u8( table ).zeros( 3 ).u32( Ports::any ).u32( anyGroup ).zeros( 4 ).u64( 0 ).u64( 0 );
   Match().encode( out );
   return end( std::move( out ) );
}

std::string monitorMessage( std::uint32_t xid, std::vector< std::uint8_t > const & tables ) {
   Writer out = beginMultipart( Multipart::flowMonitor, xid );
   std::uint32_t id = 0;
   for ( std::uint8_t const table : tables ) {
      out.u32( ++id ).u32( Ports::any ).u32( anyGroup ).u16( monitorFlags ).u8( table ).u8( 0 );
      Match().encode( out );
   }
   return end( std::move( out ) );
}

std::string bundleControlMessage( std::uint32_t xid, std::uint32_t bundle, BundleControl type ) {
   Writer out = begin( MessageType::bundleControl, xid );
   out.u32( bundle ).u16( static_cast< std::uint16_t >( type ) ).u16( bundleFlags );
   return end( std::move( out ) );
}

std::optional< std::string > flowModMessage( std::uint32_t xid, FlowChange const & change ) {
   Flow const & flow = change.flow;
   Writer out = begin( MessageType::flowMod, xid );
   // Only an addition says what the cookie is to be; in others it would have to match.
   out.u64( change.kind == FlowChange::Kind::add ? flow.cookie : 0 ).u64( 0 );
   out.u8( flow.table ).u8( commandOf( change.kind ) ).u16( flow.idleTimeout );
   out.u16( flow.hardTimeout ).u16( flow.priority ).u32( noBuffer );
   out.u32( Ports::any ).u32( anyGroup ).u16( 0 ).u16( 0 );
   flow.match.encode( out );
   if ( change.kind != FlowChange::Kind::deleteStrict ) {
      flow.actions.encode( out );
   }
   return endIfFits( std::move( out ) );
}

std::optional< std::string > bundledFlowModMessage( std::uint32_t xid, std::uint32_t bundle,
                                                    FlowChange const & change ) {
   auto const inner = flowModMessage( xid, change );
   if ( !inner ) {
      return std::nullopt;
   }
   Writer out = begin( MessageType::bundleAdd, xid );
   out.u32( bundle ).u16( 0 ).u16( bundleFlags ).put( *inner );
   return endIfFits( std::move( out ) );
}

}  // namespace OpenFlow
