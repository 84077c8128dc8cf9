#include "switch/openvswitch/Claim.h"

#include <sys/socket.h>
#include <sys/un.h>

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <system_error>

#include "platform/kel/Hash.h"
#include "platform/kel/String.h"

namespace OpenVSwitch {

namespace {

/** A name that the system gives one process at a time, and takes back when it ends. */
bool take( std::uint64_t number ) {
   int const fd = ::socket( AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0 );
   sockaddr_un address{};
   address.sun_family = AF_UNIX;
   // It begins with a zero: no file stands for it.
   std::string const name = "qorswitch " + std::to_string( number );
   name.copy( address.sun_path + 1, sizeof address.sun_path - 1 );
   auto const size =
      static_cast< socklen_t >( offsetof( sockaddr_un, sun_path ) + 1 + name.size() );
   if ( fd >= 0 && ::bind( fd, reinterpret_cast< sockaddr const * >( &address ), size ) == 0 ) {
      return true;
   }
   if ( fd < 0 || errno != EADDRINUSE ) {
      throw std::system_error( errno, std::generic_category(), "the bridge cannot be claimed" );
   }
   return false;
}

}  // namespace

bool claimBridge( std::string const & runFolder, std::string const & bridge,
                  std::string const & switchName ) {
   std::error_code unknown;
   auto const folder = std::filesystem::canonical( runFolder, unknown ).string();
   std::uint64_t const place =
      Kel::combineHash( Kel::hashBytes( unknown ? runFolder : folder ), Kel::hashBytes( bridge ) );
   bool const isFree = take( place );
   // Whoever has it has this one, too.
   bool const isOurs = take( Kel::combineHash( place, Kel::hashBytes( switchName ) ) );
   return isFree || !isOurs;
}

}  // namespace OpenVSwitch
