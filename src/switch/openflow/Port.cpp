#include "switch/openflow/Port.h"

#include "switch/openflow/Bytes.h"

namespace OpenFlow {

Port Port::decode( Reader & in ) {
   constexpr std::size_t fixedSize = 40;
   Port port;
   port.number = in.u32();
   std::size_t const size = in.u16();
   in.skip( 2 );
   Wirekit::EthAddr::Bytes address{};
   for ( std::uint8_t & byte : address ) {
      byte = in.u8();
   }
   port.address = Wirekit::EthAddr( address );
   in.skip( 2 );
   std::string_view const name = in.take( 16 );
   port.name = name.substr( 0, name.find( '\0' ) );
   port.isOff = ( in.u32() & 1 ) != 0;
   port.hasLink = ( in.u32() & 1 ) == 0;
   if ( size < fixedSize ) {
      throw DecodeError( "port of " + std::to_string( size ) + " bytes" );
   }
   in.skip( size - fixedSize );
   return port;
}

}  // namespace OpenFlow
