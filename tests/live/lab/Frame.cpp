#include "live/lab/Frame.h"

#include <arpa/inet.h>

#include <algorithm>
#include <cstdio>
#include <stdexcept>

namespace Lab {

using namespace std::string_literals;

namespace {

constexpr std::uint16_t vlanTag = 0x8100;
constexpr std::uint16_t ipv4 = 0x0800;
constexpr std::uint16_t arp = 0x0806;
constexpr std::uint16_t ipv6 = 0x86dd;
/** For local experiments. */
constexpr std::uint16_t unknown = 0x88b5;
constexpr Mac everybody{ 0xff, 0xff, 0xff, 0xff, 0xff, 0xff };
constexpr std::string_view magic = "QorClientLab";
constexpr std::size_t markSize = 9;

std::string number( std::uint64_t value, std::size_t bytes ) {
   std::string text;
   while ( bytes-- != 0 ) {
      text += static_cast< char >( value >> ( 8 * bytes ) );
   }
   return text;
}

std::uint32_t numberAt( std::string_view bytes, std::size_t at, std::size_t size ) {
   std::uint32_t value = 0;
   for ( char byte : bytes.substr( at, size ) ) {
      value = value << 8 | static_cast< unsigned char >( byte );
   }
   return value;
}

std::string text( Mac const & mac ) {
   return { mac.begin(), mac.end() };
}

std::string address( int family, char const * words ) {
   std::string bytes( family == AF_INET ? 4 : 16, '\0' );
   if ( ::inet_pton( family, words, bytes.data() ) != 1 ) {
      throw std::runtime_error( std::string( words ) + " is no address" );
   }
   return bytes;
}

/** The checksum of the internet's protocols. */
std::string checksum( std::string const & bytes ) {
   std::uint32_t sum = 0;
   for ( std::size_t i = 0; i < bytes.size(); i += 2 ) {
      sum += numberAt( bytes, i, 2 );
   }
   sum = ( sum & 0xffff ) + ( sum >> 16 );
   return number( ~( sum + ( sum >> 16 ) ) & 0xffff, 2 );
}

Frame arpFrame( Mac const & from, Mac const & to, int operation, std::string const & sender,
                std::string const & target ) {
   return {
      to,
      from,
      {},
      arp,
      "\0\1\x8\0\6\4"s + number( static_cast< std::uint64_t >( operation ), 2 ) + sender + target };
}

}  // namespace

Mac macOf( std::string_view words ) {
   Mac mac;
   unsigned byte[6];
   if ( std::sscanf( std::string( words ).c_str(), "%x:%x:%x:%x:%x:%x", &byte[0], &byte[1],
                     &byte[2], &byte[3], &byte[4], &byte[5] ) != 6 ) {
      throw std::runtime_error( std::string( words ) + " is no MAC" );
   }
   std::ranges::transform( byte, mac.begin(),
                           []( unsigned b ) { return static_cast< std::uint8_t >( b ); } );
   return mac;
}

std::string Frame::bytes() const {
   std::string all = text( to ) + text( from );
   if ( vlan ) {
      all += number( vlanTag, 2 ) + number( *vlan, 2 );
   }
   all += number( type, 2 ) + content;
   all.resize( std::max< std::size_t >( all.size(), 60 ) );
   return all;
}

std::optional< Frame > frameOf( std::string_view bytes, std::optional< std::uint16_t > vlan ) {
   if ( bytes.size() < 18 ) {
      return std::nullopt;
   }
   Frame frame;
   std::copy_n( bytes.begin(), 6, frame.to.begin() );
   std::copy_n( bytes.begin() + 6, 6, frame.from.begin() );
   bytes.remove_prefix( 12 );
   frame.vlan = vlan;
   if ( !vlan && numberAt( bytes, 0, 2 ) == vlanTag ) {
      frame.vlan = static_cast< std::uint16_t >( numberAt( bytes, 2, 2 ) & 0xfff );
      bytes.remove_prefix( 4 );
   }
   frame.type = static_cast< std::uint16_t >( numberAt( bytes, 0, 2 ) );
   frame.content = bytes.substr( 2 );
   return frame;
}

std::optional< Mark > Frame::mark() const {
   std::size_t const at = content.find( magic );
   if ( at == std::string::npos || content.size() < at + magic.size() + markSize ) {
      return std::nullopt;
   }
   std::size_t const begin = at + magic.size();
   auto const flags = numberAt( content, begin + 8, 1 );
   return Mark{ numberAt( content, begin, 4 ), numberAt( content, begin + 4, 4 ),
                ( flags & 1 ) != 0, ( flags & 2 ) != 0, ( flags & 4 ) != 0 };
}

void Frame::markIs( Mark const & mark ) {
   content.resize( std::min( content.find( magic ), content.size() ) );
   content += std::string( magic ) + number( mark.stream, 4 ) + number( mark.number, 4 ) +
              number( ( mark.isAnswer ? 1 : 0 ) + ( mark.passedThere ? 2 : 0 ) +
                         ( mark.passedBack ? 4 : 0 ),
                      1 );
}

Frame Frame::answer() const {
   Frame answer = *this;
   std::swap( answer.from, answer.to );
   if ( type == ipv4 && content.size() >= 24 ) {
      auto const at = answer.content.begin();
      std::swap_ranges( at + 12, at + 16, at + 16 );
      std::swap_ranges( at + 20, at + 22, at + 22 );
   }
   return answer;
}

Frame plainFrame( Mac const & from, Mac const & to ) {
   return { to, from, {}, unknown, {} };
}

Frame broadcastFrame( Mac const & from ) {
   return plainFrame( from, everybody );
}

Frame udpFrame( Mac const & from, Mac const & to, char const * fromAddress, char const * toAddress,
                std::uint16_t fromPort, std::uint16_t toPort ) {
   std::size_t const size = 8 + magic.size() + markSize;
   std::string const before = "\x45\0"s + number( 20 + size, 2 ) + "\0\0\x40\0\x40\x11"s;
   std::string const behind = address( AF_INET, fromAddress ) + address( AF_INET, toAddress );
   Frame frame{ to, from, {}, ipv4, before + checksum( before + behind ) + behind };
   // No checksum of UDP's own.
   frame.content += number( fromPort, 2 ) + number( toPort, 2 ) + number( size, 2 ) + "\0\0"s;
   return frame;
}

Frame arpRequest( Mac const & from, char const * fromAddress, char const * wanted ) {
   return arpFrame( from, everybody, 1, text( from ) + address( AF_INET, fromAddress ),
                    std::string( 6, '\0' ) + address( AF_INET, wanted ) );
}

Frame arpReply( Mac const & from, char const * fromAddress, Mac const & to,
                char const * toAddress ) {
   return arpFrame( from, to, 2, text( from ) + address( AF_INET, fromAddress ),
                    text( to ) + address( AF_INET, toAddress ) );
}

Frame neighbourSolicitation( Mac const & from, char const * fromAddress, char const * wanted ) {
   std::string const source = address( AF_INET6, fromAddress );
   std::string const target = address( AF_INET6, wanted );
   std::string const group =
      address( AF_INET6, "ff02::1:ff00:0" ).substr( 0, 13 ) + target.substr( 13 );
   Mac to{ 0x33, 0x33 };
   std::copy_n( group.end() - 4, 4, to.begin() + 2 );
   std::string const before = "\x87\0"s;
   std::string const behind = "\0\0\0\0"s + target + "\1\1"s + text( from );
   std::size_t const size = before.size() + 2 + behind.size();
   std::string const pseudo = source + group + number( size, 4 ) + number( 58, 4 );
   return { to,
            from,
            {},
            ipv6,
            "\x60\0\0\0"s + number( size, 2 ) + "\x3a\xff"s + source + group + before +
               checksum( pseudo + before + "\0\0"s + behind ) + behind };
}

}  // namespace Lab
