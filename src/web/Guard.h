#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "web/Request.h"

namespace Web {

/** Where the page is served: a Unix socket, or a host and port. */
struct Place {
   std::string socket = {};
   std::string host = {};
   std::uint16_t port = 0;

   /** Whether only programs of this machine come in. */
   bool isLocal() const;
};

/**
 * Who may ask, and for what. A browser that was led here by a foreign page sends that page's name
 * as Host, where that page's name was given this address, or as Origin; both are refused. Nobody
 * can change anything.
 */
class Guard {
 public:
   /** `names` are further names by which the place is reached; `token` is empty where none is asked
    *  for. */
   Guard( Place place, std::vector< std::string > names, std::string token );

   /** The answer to a request that is refused; nothing for one that may be served. */
   std::optional< Answer > refusal( Request const & request ) const;

 private:
   bool isOwn( std::string_view host ) const;
   bool hasToken( std::string_view authorization ) const;

   Place place_;
   std::vector< std::string > names_;
   std::string token_;
};

}  // namespace Web
