#include "switch/openflow/Bytes.h"

namespace OpenFlow {

std::uint64_t Reader::number( std::size_t size ) {
   std::uint64_t value = 0;
   for ( char const byte : take( size ) ) {
      value = value << 8 | static_cast< std::uint8_t >( byte );
   }
   return value;
}

std::string_view Reader::take( std::size_t size ) {
   if ( size > bytes_.size() ) {
      throw DecodeError( "cut short: " + std::to_string( size ) + " bytes wanted, " +
                         std::to_string( bytes_.size() ) + " left" );
   }
   std::string_view const taken = bytes_.substr( 0, size );
   bytes_.remove_prefix( size );
   return taken;
}

Writer & Writer::number( std::uint64_t value, std::size_t size ) {
   for ( std::size_t i = size; i-- != 0; ) {
      bytes_.push_back( static_cast< char >( value >> ( 8 * i ) & 0xff ) );
   }
   return *this;
}

Writer & Writer::put( std::string_view bytes ) {
   bytes_.append( bytes );
   return *this;
}

Writer & Writer::zeros( std::size_t count ) {
   bytes_.append( count, '\0' );
   return *this;
}

Writer & Writer::pad( std::size_t begin ) {
   std::size_t const length = bytes_.size() - begin;
   return zeros( padded( length ) - length );
}

void Writer::u16At( std::size_t at, std::uint16_t value ) {
   bytes_.at( at ) = static_cast< char >( value >> 8 );
   bytes_.at( at + 1 ) = static_cast< char >( value & 0xff );
}

}  // namespace OpenFlow
