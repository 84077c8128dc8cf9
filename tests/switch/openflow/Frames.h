#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "switch/openflow/Bytes.h"
#include "switch/openflow/Message.h"

namespace OpenFlow {

/** Bytes from text such as "0000 0010 00000005". */
inline std::string hex( std::string_view text ) {
   std::string digits;
   for ( char const c : text ) {
      digits += c == ' ' ? "" : std::string( 1, c );
   }
   std::string bytes;
   for ( std::size_t i = 0; i + 1 < digits.size(); i += 2 ) {
      bytes.push_back( static_cast< char >( std::stoi( digits.substr( i, 2 ), nullptr, 16 ) ) );
   }
   return bytes;
}

template < class Value >
std::string encoded( Value const & value ) {
   Writer out;
   value.encode( out );
   return out.take();
}

inline std::string messageOf( MessageType type, std::uint32_t xid, std::string_view body = {} ) {
   Writer out;
   out.u8( protocolVersion ).u8( static_cast< std::uint8_t >( type ) );
   out.u16( static_cast< std::uint16_t >( 8 + body.size() ) ).u32( xid ).put( body );
   return out.take();
}

inline std::string multipartOf( Multipart type, std::uint32_t xid, std::string_view body,
                                bool hasMore = false ) {
   Writer out;
   out.u16( static_cast< std::uint16_t >( type ) ).u16( hasMore ? 1 : 0 ).zeros( 4 ).put( body );
   return messageOf( MessageType::multipartReply, xid, out.bytes() );
}

/** As a switch lists it. */
inline std::string entryOf( Flow const & flow ) {
   Writer out;
   out.u16( 0 ).u8( flow.table ).zeros( 9 ).u16( flow.priority ).u16( flow.idleTimeout );
   out.u16( flow.hardTimeout ).zeros( 6 ).u64( flow.cookie ).zeros( 16 );
   flow.match.encode( out );
   flow.actions.encode( out );
   out.u16At( 0, static_cast< std::uint16_t >( out.size() ) );
   return out.take();
}

/** As a monitor tells it. */
inline std::string newsOf( std::uint16_t event, std::uint8_t reason, Flow const & flow ) {
   Writer out;
   out.u16( 0 ).u16( event ).u8( flow.table ).u8( reason ).u16( flow.idleTimeout );
   out.u16( flow.hardTimeout ).u16( flow.priority ).zeros( 4 ).u64( flow.cookie );
   flow.match.encode( out );
   flow.actions.encode( out );
   out.u16At( 0, static_cast< std::uint16_t >( out.size() ) );
   return out.take();
}

inline std::string portOf( std::uint32_t number, std::string_view name, std::uint32_t config = 0,
                           std::uint32_t state = 0 ) {
   Writer out;
   out.u32( number ).u16( 48 ).zeros( 2 ).put( hex( "020000000001" ) ).zeros( 2 );
   out.put( name ).zeros( 16 - name.size() ).u32( config ).u32( state ).zeros( 8 );
   return out.take();
}

/** A flow with something of each kind. */
inline Flow someFlow() {
   return { .table = 10,
            .priority = 20,
            .cookie = 0x1122334455667788,
            .idleTimeout = 3,
            .hardTimeout = 4,
            .match = Match().inPort( 1 ).vlan( 100 ).arp().reg( 3, 1, 0xff ),
            .actions = Actions()
                          .setVlan( 200 )
                          .clone( Actions().outputReg( 0 ) )
                          .learn( learnHost( 40, 10, 300, 0, 0 ) )
                          .resubmit( 20 ) };
}

}  // namespace OpenFlow
