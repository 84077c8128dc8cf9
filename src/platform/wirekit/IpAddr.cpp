#include "platform/wirekit/IpAddr.h"

#include <arpa/inet.h>

#include <algorithm>
#include <charconv>

namespace Wirekit {

namespace {

/** The bytes of an address text, in network order. */
template < typename Bytes >
std::optional< Bytes > parseAddr( int family, std::string_view text ) {
   std::array< char, INET6_ADDRSTRLEN > terminated{};
   // inet_pton ends at the first zero byte, so it wouldn't see what follows one.
   if ( text.size() >= terminated.size() || text.find( '\0' ) != text.npos ) {
      return std::nullopt;
   }
   std::copy( text.begin(), text.end(), terminated.begin() );
   Bytes bytes;
   if ( inet_pton( family, terminated.data(), bytes.data() ) != 1 ) {
      return std::nullopt;
   }
   return bytes;
}

void appendHex( std::string & text, unsigned group ) {
   std::array< char, 4 > digits;
   auto const end = std::to_chars( digits.begin(), digits.end(), group, 16 ).ptr;
   text.append( digits.data(), end );
}

struct ZeroRun {
   std::size_t first = 0;
   std::size_t length = 0;
};

/** The first of the longest runs of zero groups. */
ZeroRun longestZeroRun( std::array< unsigned, 8 > const & groups ) {
   ZeroRun longest, run;
   for ( std::size_t i = 0; i < groups.size(); ++i ) {
      run = groups[i] != 0 ? ZeroRun{ i + 1, 0 } : ZeroRun{ run.first, run.length + 1 };
      if ( run.length > longest.length ) {
         longest = run;
      }
   }
   return longest;
}

}  // namespace

std::string Ip4Addr::stringValue() const {
   std::string text;
   for ( unsigned shift : { 24U, 16U, 8U, 0U } ) {
      text += std::to_string( bits_ >> shift & 0xff );
      if ( shift != 0 ) {
         text += '.';
      }
   }
   return text;
}

std::optional< Ip4Addr > Ip4Addr::parse( std::string_view text ) {
   auto const bytes = parseAddr< std::array< std::uint8_t, 4 > >( AF_INET, text );
   if ( !bytes ) {
      return std::nullopt;
   }
   std::uint32_t bits = 0;
   for ( std::uint8_t byte : *bytes ) {
      bits = bits << 8 | byte;
   }
   return Ip4Addr( bits );
}

std::string Ip6Addr::stringValue() const {
   std::array< unsigned, 8 > groups;
   for ( std::size_t i = 0; i < words_.size(); ++i ) {
      groups[2 * i] = words_[i] >> 16;
      groups[2 * i + 1] = words_[i] & 0xffff;
   }
   bool const mapped = std::all_of( groups.begin(), groups.begin() + 5,
                                    []( unsigned group ) { return group == 0; } );
   if ( mapped && groups[5] == 0xffff ) {
      return "::ffff:" + Ip4Addr( groups[6] << 16 | groups[7] ).stringValue();
   }
   ZeroRun const run = longestZeroRun( groups );
   std::string text;
   for ( std::size_t i = 0; i < groups.size(); ++i ) {
      if ( run.length > 1 && i == run.first ) {
         text += "::";
         i += run.length - 1;
         continue;
      }
      if ( !text.empty() && text.back() != ':' ) {
         text += ':';
      }
      appendHex( text, groups[i] );
   }
   return text;
}

std::optional< Ip6Addr > Ip6Addr::parse( std::string_view text ) {
   auto const bytes = parseAddr< Bytes >( AF_INET6, text );
   return bytes ? std::optional( Ip6Addr( *bytes ) ) : std::nullopt;
}

}  // namespace Wirekit
