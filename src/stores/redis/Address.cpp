#include "stores/redis/Address.h"

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <fstream>

#include "platform/corestore/Store.h"
#include "platform/kel/StandardError.h"

namespace Redis {

std::string Address::text() const {
   if ( !socket.empty() ) {
      return "unix:" + socket;
   }
   bool const bracketed = host.find( ':' ) != host.npos;
   return ( bracketed ? "[" + host + "]" : host ) + ":" + std::to_string( port );
}

std::optional< Address > addressOf( std::string_view text ) {
   constexpr std::string_view unix = "unix:";
   Address address;
   if ( text.starts_with( unix ) ) {
      address.socket = text.substr( unix.size() );
      return address.socket.empty() ? std::nullopt : std::optional( address );
   }
   std::size_t const colon = text.rfind( ':' );
   if ( colon == text.npos || colon == 0 ) {
      return std::nullopt;
   }
   std::string_view host = text.substr( 0, colon );
   if ( host.starts_with( '[' ) && host.ends_with( ']' ) && host.size() > 2 ) {
      host = host.substr( 1, host.size() - 2 );
   } else if ( host.find( ':' ) != host.npos ) {
      return std::nullopt;
   }
   address.host = host;
   char const * const last = text.data() + text.size();
   auto const [end, error] = std::from_chars( text.data() + colon + 1, last, address.port );
   return error == std::errc{} && end == last && address.port != 0 ? std::optional( address )
                                                                   : std::nullopt;
}

Access accessOfEnvironment() {
   auto const value = []( char const * variable ) {
      char const * const text = std::getenv( variable );
      return std::string( text ? text : "" );
   };
   Access access{ value( "QORCLIENT_REDIS_USER" ), value( "QORCLIENT_REDIS_PASSWORD" ) };
   std::string const file = value( "QORCLIENT_REDIS_PASSWORD_FILE" );
   if ( access.password.empty() && !file.empty() ) {
      std::ifstream in( file );
      if ( !std::getline( in, access.password ) ) {
         throw Corestore::StoreError( Kel::shownName( file ) + ": no password can be read" );
      }
   }
   return access;
}

bool isSwitchName( std::string_view name ) {
   return !name.empty() && name.size() <= 100 && std::ranges::all_of( name, []( char c ) {
      return ( c >= 'a' && c <= 'z' ) || ( c >= 'A' && c <= 'Z' ) || ( c >= '0' && c <= '9' ) ||
             c == '-' || c == '_' || c == '.';
   } );
}

}  // namespace Redis
