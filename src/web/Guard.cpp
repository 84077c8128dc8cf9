#include "web/Guard.h"

#include <algorithm>
#include <array>

#include "platform/wirekit/IpGenAddr.h"

namespace Web {

namespace {

std::string lowered( std::string_view text ) {
   std::string all( text );
   std::ranges::transform( all, all.begin(), []( char c ) {
      return c >= 'A' && c <= 'Z' ? static_cast< char >( c + 'a' - 'A' ) : c;
   } );
   return all;
}

/** An address may be written in several ways. */
std::string uniform( std::string_view host ) {
   std::string const name = lowered( host );
   auto const address = Wirekit::IpGenAddr::parse( name );
   return address && *address ? address->stringValue() : name;
}

bool isLoopback( std::string_view host ) {
   // A name may begin like an address.
   return host == "localhost" || host == "::1" ||
          ( host.starts_with( "127." ) && Wirekit::IpGenAddr::parse( host ) );
}

bool isAny( std::string_view host ) {
   return host == "0.0.0.0" || host == "::";
}

/** A host and its port as a Host header has them; the port that is not told is that of HTTP. */
struct HostPort {
   std::string host;
   std::string port = "80";
};

/** The empty host for what is none. */
HostPort hostPortOf( std::string_view text ) {
   HostPort found;
   std::size_t const bracket = text.starts_with( '[' ) ? text.find( ']' ) : text.npos;
   std::size_t const colon = text.find( ':', bracket == text.npos ? 0 : bracket );
   std::string_view host = text.substr( 0, colon );
   if ( bracket != text.npos ) {
      if ( bracket + 1 != host.size() ) {
         return {};
      }
      host = host.substr( 1, bracket - 1 );
   }
   found.host = uniform( host );
   if ( colon != text.npos ) {
      found.port = text.substr( colon + 1 );
   }
   return found;
}

/** Takes as long for a wrong text as for the right one. */
bool isEqual( std::string_view given, std::string_view wanted ) {
   unsigned differs = given.size() == wanted.size() ? 0 : 1;
   for ( std::size_t i = 0; i != wanted.size(); ++i ) {
      char const c = i < given.size() ? given[i] : '\0';
      differs |= static_cast< unsigned >( static_cast< unsigned char >( c ^ wanted[i] ) );
   }
   return differs == 0;
}

/** Empty for what is no such text. */
std::string decoded( std::string_view base64 ) {
   constexpr std::string_view letters =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
   std::string bytes;
   unsigned bits = 0;
   int count = 0;
   while ( base64.ends_with( '=' ) ) {
      base64.remove_suffix( 1 );
   }
   for ( char const c : base64 ) {
      std::size_t const digit = letters.find( c );
      if ( digit == letters.npos ) {
         return {};
      }
      bits = ( bits << 6 | static_cast< unsigned >( digit ) ) & 0xffffff;
      count += 6;
      if ( count >= 8 ) {
         count -= 8;
         bytes += static_cast< char >( bits >> count & 0xff );
      }
   }
   return bytes;
}

}  // namespace

bool Place::isLocal() const {
   return !socket.empty() || isLoopback( uniform( host ) );
}

Guard::Guard( Place place, std::vector< std::string > names, std::string token )
   : place_( std::move( place ) ), names_( std::move( names ) ), token_( std::move( token ) ) {
   place_.host = uniform( place_.host );
   std::ranges::transform( names_, names_.begin(), uniform );
}

bool Guard::isOwn( std::string_view host ) const {
   if ( !place_.socket.empty() ) {
      // No browser comes here but through a proxy, which has names of its own.
      return true;
   }
   HostPort const asked = hostPortOf( host );
   if ( asked.host.empty() ) {
      return false;
   }
   if ( std::ranges::find( names_, asked.host ) != names_.end() ) {
      return true;
   }
   if ( asked.port != std::to_string( place_.port ) ) {
      return false;
   }
   // A name leads where its owner says, an address does not.
   return asked.host == place_.host || ( isLoopback( place_.host ) && isLoopback( asked.host ) ) ||
          ( isAny( place_.host ) &&
            ( isLoopback( asked.host ) || Wirekit::IpGenAddr::parse( asked.host ) ) );
}

bool Guard::hasToken( std::string_view authorization ) const {
   constexpr std::string_view bearer = "bearer ";
   constexpr std::string_view basic = "basic ";
   std::string const scheme = lowered( authorization.substr( 0, bearer.size() ) );
   if ( scheme == bearer ) {
      return isEqual( authorization.substr( bearer.size() ), token_ );
   }
   if ( scheme.starts_with( basic ) ) {
      std::string const user = decoded( authorization.substr( basic.size() ) );
      auto const colon = std::ranges::find( user, ':' );
      return colon != user.end() && isEqual( std::string( colon + 1, user.end() ), token_ );
   }
   return false;
}

std::optional< Answer > Guard::refusal( Request const & request ) const {
   if ( !isOwn( request.host ) ) {
      return errorAnswer( 421, "this host is none of this page's" );
   }
   if ( !request.origin.empty() &&
        lowered( request.origin ) != "http://" + lowered( request.host ) &&
        lowered( request.origin ) != "https://" + lowered( request.host ) ) {
      return errorAnswer( 403, "another page may not ask here" );
   }
   if ( request.method != "GET" && request.method != "HEAD" ) {
      Answer answer = errorAnswer( 405, "nothing can be changed here" );
      answer.header = "Allow";
      answer.headerText = "GET, HEAD";
      return answer;
   }
   if ( !token_.empty() && !hasToken( request.authorization ) ) {
      Answer answer = errorAnswer( 401, "the token is asked for, as a bearer or as a password" );
      answer.header = "WWW-Authenticate";
      answer.headerText = "Basic realm=\"qorclient\", charset=\"UTF-8\"";
      return answer;
   }
   return std::nullopt;
}

}  // namespace Web
