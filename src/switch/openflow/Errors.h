#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace OpenFlow {

/** What a switch answers when it refuses. */
struct Error {
   std::uint16_t type = 0;
   std::uint16_t code = 0;
   /** Who has defined it, where `type` is `ofExperimenter`. */
   std::uint32_t experimenter = 0;

   static constexpr std::uint16_t ofExperimenter = 0xffff;

   /** "table full", "bad output port"; by numbers where it isn't known. */
   std::string text() const;
   friend constexpr bool operator==( Error, Error ) = default;
};

/** A change of a flow that the switch has refused. */
struct Refusal {
   /** The change's place in the program. */
   std::size_t index = 0;
   Error error;
   /** The table that the flow was for. */
   std::uint8_t table = 0;

   std::string text() const { return error.text(); }
   friend constexpr bool operator==( Refusal, Refusal ) = default;
};

bool isTableFull( Refusal const & refusal );
/** The output port of an action. */
bool isBadPort( Refusal const & refusal );
/** What is matched cannot be had, whatever is done with it. */
bool isBadMatch( Refusal const & refusal );

}  // namespace OpenFlow
