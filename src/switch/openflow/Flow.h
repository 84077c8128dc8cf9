#pragma once

#include <cstdint>
#include <string>
#include <utility>

#include "switch/openflow/Actions.h"
#include "switch/openflow/Match.h"

namespace OpenFlow {

/** A row of one of the switch's tables. Table, priority and match tell it from others. */
struct Flow {
   std::uint8_t table = 0;
   std::uint16_t priority = 0;
   std::uint64_t cookie = 0;
   /** In seconds, 0 for none. */
   std::uint16_t idleTimeout = 0;
   std::uint16_t hardTimeout = 0;
   Match match = {};
   Actions actions = {};

   friend bool operator==( Flow const &, Flow const & ) = default;

   /** In the words of the switch's own tools, as they take it. */
   std::string text() const;
};

/** What is to become of a flow. */
struct FlowChange {
   enum class Kind : std::uint8_t {
      /** Takes the place of one that stands there. */
      add,
      /** Changes the actions of one that stands there, and nothing else; nothing where none does.
       */
      modifyStrict,
      /** By table, priority and match. */
      deleteStrict,
      /** All of a cookie, in whatever table. */
      deleteByCookie,
   };
   Kind kind = Kind::add;
   Flow flow = {};
   /** It is in effect together with the one before it, or neither is. */
   bool isJoined = false;

   static FlowChange add( Flow flow ) { return { Kind::add, std::move( flow ) }; }
   static FlowChange deleteByCookie( std::uint64_t cookie ) {
      return { Kind::deleteByCookie, { .table = allTables, .cookie = cookie } };
   }
};

/** What has become of a flow, whoever was the cause. */
struct FlowUpdate {
   enum class Event : std::uint8_t {
      /** It stood when it was asked for. */
      initial,
      added,
      removed,
      modified,
   };
   enum class Reason : std::uint8_t { idleTimeout, hardTimeout, deleted, other };
   Event event = Event::initial;
   /** Of one that was removed. */
   Reason reason = Reason::other;
   Flow flow = {};
   /** The switch could not tell it when it was made; it may be one of this connection. */
   bool wasMissed = false;
};

}  // namespace OpenFlow
