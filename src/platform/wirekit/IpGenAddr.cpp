#include "platform/wirekit/IpGenAddr.h"

#include <charconv>

#include "platform/kel/Exceptions.h"

namespace Wirekit {

namespace {

unsigned maxLen( IpGenAddr const & addr ) {
   return addr.isV4() ? 32 : addr.isV6() ? 128 : 0;
}

/** A decimal number of at most three digits, without sign and leading zeros. */
std::optional< unsigned > parseLen( std::string_view text ) {
   unsigned len = 0;
   auto const [end, error] = std::from_chars( text.data(), text.data() + text.size(), len );
   if ( error != std::errc() || end != text.data() + text.size() || text.size() > 3 ||
        ( text.front() == '0' && text.size() > 1 ) ) {
      return std::nullopt;
   }
   return len;
}

}  // namespace

std::string IpGenAddr::stringValue() const {
   return isV4() ? v4Addr().stringValue() : isV6() ? v6Addr().stringValue() : std::string();
}

std::optional< IpGenAddr > IpGenAddr::parse( std::string_view text ) {
   if ( text.empty() ) {
      return IpGenAddr();
   }
   if ( auto const v4 = Ip4Addr::parse( text ) ) {
      return *v4;
   }
   if ( auto const v6 = Ip6Addr::parse( text ) ) {
      return *v6;
   }
   return std::nullopt;
}

IpGenPrefix::IpGenPrefix( IpGenAddr const & addr, unsigned len )
   : addr_( addr ), len_( static_cast< std::uint8_t >( len ) ) {
   if ( len > maxLen( addr ) ) {
      Kel::throwRangeException( "IpGenPrefix::len > " + std::to_string( maxLen( addr ) ) +
                                " not allowed" );
   }
}

std::string IpGenPrefix::stringValue() const {
   return addr_ ? addr_.stringValue() + "/" + std::to_string( len_ ) : std::string();
}

std::optional< IpGenPrefix > IpGenPrefix::parse( std::string_view text ) {
   if ( text.empty() ) {
      return IpGenPrefix();
   }
   auto const slash = text.find( '/' );
   if ( slash == text.npos ) {
      return std::nullopt;
   }
   auto const addr = IpGenAddr::parse( text.substr( 0, slash ) );
   auto const len = parseLen( text.substr( slash + 1 ) );
   if ( !addr || !*addr || !len || *len > maxLen( *addr ) ) {
      return std::nullopt;
   }
   return IpGenPrefix( *addr, *len );
}

}  // namespace Wirekit
