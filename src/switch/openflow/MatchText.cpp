// In the words of the switch's own tools, so that what is printed can be given to them.

#include <algorithm>
#include <array>
#include <cstdio>

#include "switch/openflow/Bytes.h"
#include "switch/openflow/Match.h"

namespace OpenFlow {

namespace {

std::string hexOf( std::uint64_t value, int digits = 0 ) {
   std::array< char, 32 > text{};
   std::snprintf( text.data(), text.size(), "0x%0*llx", digits,
                  static_cast< unsigned long long >( value ) );
   return text.data();
}

std::string hexOf( std::string_view bytes ) {
   std::string text = "0x";
   for ( char const byte : bytes ) {
      text += hexOf( static_cast< std::uint8_t >( byte ), 2 ).substr( 2 );
   }
   return text;
}

std::string addressText( Field field, std::string_view bytes ) {
   if ( field.size == 6 ) {
      Wirekit::EthAddr::Bytes address{};
      std::copy( bytes.begin(), bytes.end(), address.begin() );
      return Wirekit::EthAddr( address ).stringValue();
   }
   if ( field.size == 16 ) {
      Wirekit::Ip6Addr::Bytes address{};
      std::copy( bytes.begin(), bytes.end(), address.begin() );
      return Wirekit::Ip6Addr( address ).stringValue();
   }
   return Wirekit::Ip4Addr( Reader( bytes ).u32() ).stringValue();
}

bool isAddress( Field field ) {
   return field.size == 6 || field.size == 16 || field == Fields::ip4Src ||
          field == Fields::ip4Dst || field == Fields::arpSpa || field == Fields::arpTpa ||
          field == Fields::tunDst;
}

bool isDecimal( Field field ) {
   return field == Fields::inPort || field == Fields::ipProtocol || field == Fields::tcpSrc ||
          field == Fields::tcpDst || field == Fields::udpSrc || field == Fields::udpDst;
}

std::string valueText( Field field, std::string_view bytes ) {
   if ( isAddress( field ) ) {
      return addressText( field, bytes );
   }
   if ( field.size > 8 ) {
      return hexOf( bytes );
   }
   std::uint64_t const value = Reader( bytes ).number( bytes.size() );
   return field == Fields::ethType ? hexOf( value, 4 ) : hexOf( value );
}

std::string vlanText( std::uint16_t value, std::uint16_t mask ) {
   if ( mask == 0xffff && ( value & vlanPresent ) ) {
      return "dl_vlan=" + std::to_string( value & 0xfff );
   }
   return "vlan_tci=" + hexOf( value, 4 ) + "/" + hexOf( mask & 0x1fff, 4 );
}

}  // namespace

std::string Match::text() const {
   std::string text;
   for ( Reader in( fields_ ); !in.isEmpty(); ) {
      std::uint32_t const header = in.u32();
      bool const isMasked = ( header & 0x100 ) != 0;
      std::string_view const body = in.take( header & 0xff );
      auto const size = static_cast< std::uint8_t >( isMasked ? body.size() / 2 : body.size() );
      Field const field{ static_cast< std::uint16_t >( header >> 16 ),
                         static_cast< std::uint8_t >( header >> 9 & 0x7f ), size };
      std::string_view const value = body.substr( 0, size );
      std::string_view const mask = body.substr( size );
      text += text.empty() ? "" : ",";
      if ( field.oxmClass == 0xffff ) {
         text += nameOf( field ) + "=" + hexOf( body );
      } else if ( field == Fields::vlanVid ) {
         text += vlanText( Reader( value ).u16(), isMasked ? Reader( mask ).u16() : 0xffff );
      } else if ( isDecimal( field ) && !isMasked ) {
         text += nameOf( field ) + "=" + std::to_string( Reader( value ).number( size ) );
      } else {
         text += nameOf( field ) + "=" + valueText( field, value ) +
                 ( isMasked ? "/" + valueText( field, mask ) : "" );
      }
   }
   return text;
}

}  // namespace OpenFlow
