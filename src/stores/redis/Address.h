#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace Redis {

/** Where a server listens: a Unix socket, or a host and port. */
struct Address {
   /** Empty for a host and port. */
   std::string socket;
   std::string host;
   std::uint16_t port = 0;

   friend bool operator==( Address const &, Address const & ) = default;
   /** As `addressOf` reads it. */
   std::string text() const;
};

/** Reads "unix:PATH", "HOST:PORT" or "[HOST]:PORT"; nothing for anything else. */
std::optional< Address > addressOf( std::string_view text );

/** What a server wants to know of its user; both empty for a server without users. */
struct Access {
   std::string user;
   std::string password;
};

/**
 * The user of QORCLIENT_REDIS_USER, with the password of QORCLIENT_REDIS_PASSWORD or the first line
 * of the file QORCLIENT_REDIS_PASSWORD_FILE. Arguments would be seen by everyone on the machine.
 * Throws Corestore::StoreError for a file that cannot be read.
 */
Access accessOfEnvironment();

/** Whether a switch may have that name: letters, digits, "-", "_" and ".", 1 to 100 of them. */
bool isSwitchName( std::string_view name );

}  // namespace Redis
