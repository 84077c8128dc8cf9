// What a switch may send: messages one behind the other. Each is read or refused, and a flow that
// was read goes out as one that reads the same.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "switch/openflow/Bytes.h"
#include "switch/openflow/Message.h"

namespace {

using namespace OpenFlow;

void readAgain( Flow const & flow ) {
   Writer out;
   flow.match.encode( out );
   flow.actions.encode( out );
   Reader in( out.bytes() );
   Match const match = Match::decode( in );
   Actions const actions = Actions::decode( in );
   if ( match != flow.match || actions != flow.actions ) {
      std::abort();
   }
   flow.text();
   match.vlanId();
   match.ethDst();
   actions.loaded( Fields::reg( 0 ) );
}

void readParts( Message const & message ) {
   MultipartReply const reply = multipartIn( message );
   switch ( reply.type ) {
      case Multipart::flows:
         for ( Flow const & flow : flowsIn( reply ) ) {
            readAgain( flow );
         }
         break;
      case Multipart::portDescriptions:
         portsIn( reply );
         break;
      case Multipart::flowMonitor:
         for ( MonitorNews const & news : monitorNewsIn( reply ) ) {
            readAgain( news.update.flow );
         }
         break;
   }
}

void readBody( Message const & message ) {
   switch ( message.type ) {
      case MessageType::hello:
         versionsIn( message );
         break;
      case MessageType::error:
         errorIn( message ).text();
         break;
      case MessageType::portStatus:
         portStatusIn( message );
         break;
      case MessageType::multipartReply:
         readParts( message );
         break;
      case MessageType::bundleControl:
         bundleControlIn( message );
         break;
      default:
         nameOf( message.type );
   }
}

/** A switch's list of one flow with something of each kind. */
std::string listOfFlows() {
   Flow flow;
   flow.match = Match().inPort( 1 ).vlan( 100 ).reg( 3, 1, 0xff ).tunId( 9 ).ip4().ipProtocol( 6 );
   flow.match.l4DstPort( 443 ).ip4Src( Wirekit::Ip4Addr( 1 ), Wirekit::Ip4Addr::mask( 24 ) );
   flow.actions =
      Actions().pushVlan().setVlan( 200 ).setTunDst( {} ).setEthDst( {} ).outputPort( 1 );
   flow.actions.load( { Fields::reg( 0 ), 0, 16 }, 3 ).outputReg( 0 ).resubmit( 20 );
   flow.actions.move( { Fields::loadInPort, 0, 16 }, { Fields::reg( 0 ), 0, 16 } );
   flow.actions.clone( Actions().learn( learnHost( 40, 10, 300, 1, 0 ) ) );
   flow.actions.learn( learnNextHop( 41, 10, 300, 1, 0 ) );
   Writer out;
   out.u8( protocolVersion ).u8( static_cast< std::uint8_t >( MessageType::multipartReply ) );
   out.u16( 0 ).u32( 1 ).u16( static_cast< std::uint16_t >( Multipart::flows ) ).zeros( 6 );
   std::size_t const begin = out.size();
   out.u16( 0 ).zeros( 46 );
   flow.match.encode( out );
   flow.actions.encode( out );
   out.u16At( begin, static_cast< std::uint16_t >( out.size() - begin ) );
   out.u16At( 2, static_cast< std::uint16_t >( out.size() ) );
   return out.take();
}

std::string changed( std::string bytes, std::string_view changes ) {
   for ( ; changes.size() >= 3; changes.remove_prefix( 3 ) ) {
      Reader change( changes );
      std::size_t const at = change.u16() % bytes.size();
      bytes[at] = static_cast< char >( change.u8() );
   }
   return bytes;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput( std::uint8_t const * data, std::size_t size ) {
   std::string_view input( reinterpret_cast< char const * >( data ), size );
   std::string bytes;
   if ( input.starts_with( 'C' ) ) {
      bytes = changed( listOfFlows(), input.substr( 1 ) );
      input = bytes;
   }
   try {
      while ( auto const message = messageIn( input ) ) {
         input.remove_prefix( message->size );
         readBody( *message );
      }
   } catch ( DecodeError const & ) {
   }
   return 0;
}
