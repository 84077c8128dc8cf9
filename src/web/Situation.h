#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace Web {

/** What a process of the switch says of itself. */
struct ProcessWords {
   std::string role;
   /** Who holds the lease; empty for nobody. */
   std::string holder;
   /** Numbers and other texts by name. */
   std::map< std::string, std::string > fields;

   friend bool operator==( ProcessWords const &, ProcessWords const & ) = default;
};

/** What is known of where the state comes from. */
struct Situation {
   /** The state is followed; otherwise it is shown as it stood last. */
   bool isThere = false;
   std::string words = {};
   std::vector< ProcessWords > processes = {};
   /** Rows that do not fit, and why: the first ones, and how many others there are. */
   std::map< std::string, std::string > skipped = {};
   std::size_t furtherSkipped = 0;
   std::uint64_t reconnects = 0;

   friend bool operator==( Situation const &, Situation const & ) = default;
};

}  // namespace Web
