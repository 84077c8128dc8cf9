#include "switch/openflow/Errors.h"

#include <algorithm>
#include <iterator>

namespace OpenFlow {

namespace {

constexpr std::uint32_t nicira = 0x2320;

struct Known {
   Error error;
   char const * text;
};

constexpr std::uint16_t badMatchType = 4;
constexpr Error tableFull{ 5, 1, 0 };
constexpr Error badPort{ 2, 4, 0 };

/** An extension's error has its number in place of the code. */
constexpr Error extension( std::uint16_t number ) {
   return { Error::ofExperimenter, number, nicira };
}

constexpr Known known[] = {
   { { 0, 0 }, "no common version" },
   { { 0, 1 }, "greeting not permitted" },
   { { 1, 0 }, "bad version" },
   { { 1, 1 }, "unknown message" },
   { { 1, 2 }, "unknown multipart request" },
   { { 1, 3 }, "unknown experimenter" },
   { { 1, 4 }, "unknown experimenter message" },
   { { 1, 5 }, "request not permitted" },
   { { 1, 6 }, "bad length of a request" },
   { { 1, 9 }, "no such table" },
   { { 1, 10 }, "this controller may only read" },
   { { 1, 11 }, "bad port in a request" },
   { { 1, 13 }, "multipart request too long" },
   { { 2, 0 }, "unknown action" },
   { { 2, 1 }, "bad length of an action" },
   { { 2, 2 }, "unknown experimenter of an action" },
   { { 2, 3 }, "unknown action of an experimenter" },
   { badPort, "bad output port" },
   { { 2, 5 }, "bad argument of an action" },
   { { 2, 6 }, "action not permitted" },
   { { 2, 7 }, "too many actions" },
   { { 2, 9 }, "bad group of an action" },
   { { 2, 10 }, "action does not fit the match" },
   { { 2, 11 }, "order of actions not supported" },
   { { 2, 12 }, "unknown tag in an action" },
   { { 2, 13 }, "unknown field in an action" },
   { { 2, 14 }, "bad length of a field in an action" },
   { { 2, 15 }, "bad value of a field in an action" },
   { { 3, 0 }, "unknown instruction" },
   { { 3, 1 }, "instruction not supported" },
   { { 3, 2 }, "bad table of an instruction" },
   { { 3, 7 }, "bad length of an instruction" },
   { { 3, 8 }, "instruction not permitted" },
   { { 3, 9 }, "instruction given twice" },
   { { 4, 0 }, "unknown kind of match" },
   { { 4, 1 }, "bad length of a match" },
   { { 4, 2 }, "unknown tag in a match" },
   { { 4, 5 }, "wildcard not supported" },
   { { 4, 6 }, "unknown field in a match" },
   { { 4, 7 }, "bad value of a field in a match" },
   { { 4, 8 }, "bad mask in a match" },
   { { 4, 9 }, "match lacks what a field needs" },
   { { 4, 10 }, "field given twice in a match" },
   { { 4, 11 }, "match not permitted" },
   { { 5, 0 }, "flow refused without a reason" },
   { tableFull, "table full" },
   { { 5, 2 }, "no such table" },
   { { 5, 3 }, "flow overlaps another" },
   { { 5, 4 }, "flow not permitted" },
   { { 5, 5 }, "bad timeout" },
   { { 5, 6 }, "unknown command for a flow" },
   { { 5, 7 }, "bad flags of a flow" },
   { { 5, 8 }, "synchronized table" },
   { { 5, 9 }, "bad priority" },
   { { 5, 10 }, "synchronized flow" },
   { { 16, 0 }, "monitor refused without a reason" },
   { { 16, 1 }, "monitor stands already" },
   { { 16, 2 }, "bad monitor" },
   { { 16, 5 }, "bad flags of a monitor" },
   { { 16, 6 }, "no such table to monitor" },
   { { 17, 0 }, "bundle refused without a reason" },
   { { 17, 1 }, "bundle not permitted" },
   { { 17, 2 }, "no such bundle" },
   { { 17, 3 }, "bundle stands already" },
   { { 17, 4 }, "bundle is closed" },
   { { 17, 5 }, "too many bundles" },
   { { 17, 7 }, "bad flags of a bundle" },
   { { 17, 8 }, "bad length of a message in a bundle" },
   { { 17, 9 }, "bad number of a message in a bundle" },
   { { 17, 10 }, "message not supported in a bundle" },
   { { 17, 12 }, "too many messages in a bundle" },
   { { 17, 13 }, "a message of the bundle failed" },
   { { 17, 14 }, "bundle took too long" },
   { extension( 2 ), "bad match" },
   { extension( 3 ), "unknown field" },
   { extension( 4 ), "zero wanted in a request" },
   { extension( 11 ), "zero wanted in an action" },
   { extension( 12 ), "hardware error" },
   { extension( 13 ), "no such table" },
};

}  // namespace

std::string Error::text() const {
   auto const found = std::ranges::find( known, *this, &Known::error );
   if ( found != std::end( known ) ) {
      return found->text;
   }
   if ( type == ofExperimenter ) {
      return "error " + std::to_string( code ) + " of experimenter " +
             std::to_string( experimenter );
   }
   return "error " + std::to_string( type ) + "/" + std::to_string( code );
}

bool isTableFull( Refusal const & refusal ) {
   return refusal.error == tableFull;
}

bool isBadPort( Refusal const & refusal ) {
   return refusal.error == badPort;
}

bool isBadMatch( Refusal const & refusal ) {
   return refusal.error.type == badMatchType;
}

}  // namespace OpenFlow
