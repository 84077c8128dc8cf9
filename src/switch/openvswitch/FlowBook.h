#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

#include "platform/kel/String.h"
#include "platform/orb/TaskScheduler.h"
#include "qorclient/flowtable/HwStatus.h"
#include "switch/openflow/Connection.h"
#include "switch/openvswitch/OwnMatches.h"

namespace OpenVSwitch {

/** What the switch says of something that was to be programmed. */
struct Answer {
   OpenFlowTable::FlowStatus status{};
   /** Why it is refused; empty for what isn't. */
   std::string reason;
};

/** The number under which a refusal of the bridge is told: 5 for a full table, 6 for a port that
 *  isn't there, 10 for a match that cannot be had, 7 for anything else. */
Answer answerTo( OpenFlow::Refusal const & refusal );

/** The flows of one key, or why there can be none. */
struct WantedFlows {
   std::vector< OpenFlow::Flow > flows;
   /** Set where the key is refused before the switch is asked. */
   Answer refused{};
   /** No other key may have a flow with the same match. */
   bool exclusive = false;
};

/** What is sent first. A foundation is what other flows lead to, so that these don't take its room
 *  in a table. Frames enter the bridge by entrances: they wait until all others stand. */
enum class Rank : std::uint8_t { foundation, usual, entrance };
inline constexpr std::size_t ranks = 3;

/** Whoever wants flows, by key. */
class FlowSource {
 public:
   virtual ~FlowSource() = default;
   /** The name under which the bridge's flows are told apart; the same in each process. */
   virtual std::string_view name() const = 0;
   virtual Rank rank( Kel::String const & key ) const {
      static_cast< void >( key );
      return Rank::usual;
   }
   /** The flows of a key as they are to be now; none for one that is gone. */
   virtual WantedFlows flows( Kel::String const & key ) = 0;
   /** The flows of a key stand, or are refused. */
   virtual void answered( Kel::String const & key, Answer const & answer ) = 0;
   /** Nothing is left of a key that is gone. */
   virtual void removed( Kel::String const & key ) = 0;
};

/**
 * What is wanted of the bridge, and what it has: for each key of each source how many flows, and a
 * sum of their contents. Only what differs is sent, in slices of a bundle each. Flows are told
 * apart by their cookie, which is a hash of source and key, and so the same after a restart.
 */
class FlowBook {
 public:
   /** Both outlive it. */
   FlowBook( Kel::Ptr< Orb::TaskScheduler > scheduler, OpenFlow::Connection & connection )
      : scheduler_( std::move( scheduler ) ), connection_( connection ) {}
   FlowBook( FlowBook const & ) = delete;
   FlowBook & operator=( FlowBook const & ) = delete;

   /** The flows of a key may have to be others. Sources outlive the book. */
   void changed( FlowSource & source, Kel::String const & key );
   /** Those of all keys of a source. */
   void changed( FlowSource & source );
   /** Those that are refused, where the reason may have gone: room, a port. */
   void retryRefused();
   /** Something has found a table full. */
   bool waitsForRoom() const {
      return std::ranges::any_of( withoutRoom_,
                                  []( auto const & table ) { return !table.second.empty(); } );
   }

   /** Reads what the bridge has, and goes on from there; nothing is sent until then. */
   void reconcile();
   /** The same for whoever reads it anyhow: begins, a flow that stands, and the end. */
   void beginReading();
   void found( OpenFlow::Flow const & flow );
   /** False when nothing stood there of what is wanted now: the switch has begun anew. */
   bool compare();
   /** The bridge is gone. */
   void lost();
   /** Whose a flow is, in words. */
   std::string nameOf( OpenFlow::Flow const & flow ) const;
   /** Everything has been sent and answered. */
   bool settled() const {
      return reconciled_ && unanswered_ == 0 && !isDirty() && strangers_.empty() &&
             misplaced_.empty();
   }

   /** What has been sent since the start. */
   struct Counts {
      std::uint64_t added = 0;
      std::uint64_t removed = 0;
   };
   Counts counts() const { return counts_; }

 private:
   using CookieValue = OwnMatches::Owner;
   /** What a key has in the bridge. */
   struct Standing {
      std::uint32_t count = 0;
      /** Sums of hashes, which do not depend on an order. */
      std::uint64_t matches = 0;
      std::uint64_t contents = 0;

      void add( OwnMatches::Place place, OpenFlow::Flow const & flow );
      friend bool operator==( Standing const &, Standing const & ) = default;
   };
   /** There is one for each key, so it holds no more than all of them have. */
   struct Entry {
      Kel::String key;
      Standing standing;
      /** The tables that its flows are in, a bit each. */
      std::uint64_t tables = 0;
      OwnMatches::Claim claim = 0;
      /** Counts what was sent, so that answers to what came before are left out. */
      std::uint32_t sent = 0;
      /** Among the sources. */
      std::uint8_t source = 0;
      bool dirty = false;
      /** What was sent last is not answered. */
      bool isUnanswered = false;
   };
   /** Of a key that was refused, while it waits or is tried again. */
   struct Refused {
      /** The room that it was refused. */
      std::uint32_t wants = 1;
      /** Whether it stands among those that wait for room, in which table, or for something else.
       */
      bool waitsForRoom = false;
      std::uint8_t waitsIn = 0;
      bool waitsOtherwise = false;
      /** It has been given room. */
      bool isRetried = false;
   };
   using Entries = std::unordered_map< CookieValue, Entry >;
   /** Entries stay where they are for as long as something is to be sent or answered. */
   using Place = Entries::value_type *;
   /** A key whose changes are under way. */
   struct Sent {
      Place place = nullptr;
      std::uint32_t serial = 0;
      /** Of its changes, the one after the last. */
      std::size_t last = 0;
      /** Flows that went, and from which tables. */
      std::uint32_t removed = 0;
      std::uint64_t from = 0;
      bool removal = false;
      /** Flows that stood before, and that are added. */
      std::uint32_t stood = 0;
      std::uint32_t added = 0;
      /** If nothing is refused. */
      Answer answer{};
      /** Which table has refused it. */
      std::uint8_t fullTable = 0;
   };
   /** So many flows may have got room, by table. */
   using Room = std::map< std::uint8_t, std::size_t >;

   bool isDirty() const {
      return std::ranges::any_of( dirty_, []( auto const & keys ) { return !keys.empty(); } );
   }
   static CookieValue cookieOf( FlowSource const & source, Kel::String const & key );
   std::uint8_t numberOf( FlowSource & source );
   FlowSource & sourceOf( Entry const & entry ) const { return *sources_[entry.source]; }
   void mark( Entries::value_type & place, bool isNext = false );
   void flushSoon();
   void flush();
   void takeStrangers( std::vector< OpenFlow::FlowChange > & changes );
   void compose( Entries::value_type & place, std::vector< OpenFlow::FlowChange > & changes,
                 std::vector< Sent > & sent );
   /** Sees to it that no other key has one of these matches. */
   void claim( Entries::value_type & place, WantedFlows & wanted );
   void unclaim( Entry & entry );

   // Answers.
   void finished( std::vector< Sent > sent, std::vector< OpenFlow::Refusal > const & refusals );
   void refused( Sent const & mine );
   void answer( Entry & entry, Answer const & given );
   /** Of a table, in a set of them. */
   static std::uint64_t bitOf( std::uint8_t table );
   /** Of the flows of a key, so many at most are in one of its tables. */
   static std::uint32_t mostInOne( std::uint64_t tables, std::uint32_t flows );
   static void addRoom( Room & room, std::uint64_t tables, std::uint32_t flows );
   /** In their turn, those for whom there is room for so many flows. Where it is sure to be there,
    *  what is too little for one of them is part of what that one lacks. */
   void retry( std::deque< CookieValue > & refused, bool Refused::*isAmongThem, std::size_t room,
               bool isSure );
   /** The attempt is over; the room that it was given, zero for none. */
   std::uint32_t endRetry( CookieValue cookie );
   void retryWithRoom( Room const & room, bool isSure );

   Kel::Ptr< Orb::TaskScheduler > scheduler_;
   OpenFlow::Connection & connection_;
   std::vector< FlowSource * > sources_;
   Entries entries_;
   std::unordered_map< CookieValue, Refused > refusedKeys_;
   /** By rank. */
   std::array< std::deque< Place >, ranks > dirty_;
   OwnMatches ownMatches_;
   /** Those of the flows that are composed. */
   std::vector< OwnMatches::Place > matches_;
   /** In the order of the refusals: by the table that had no room, and for another reason. */
   std::map< std::uint8_t, std::deque< CookieValue > > withoutRoom_;
   std::deque< CookieValue > refused_;
   /** What was found while it is being read. */
   std::unordered_map< CookieValue, Standing > found_;
   /** Found, and nobody's: they go when what takes their place stands. */
   std::unordered_map< CookieValue, Standing > strangers_;
   /** Those with a cookie of flows that the switch makes itself, elsewhere than it makes them. */
   std::vector< OpenFlow::FlowChange > misplaced_;
   Counts counts_;
   std::size_t unanswered_ = 0;
   bool reconciled_ = false;
   bool isReading_ = false;
   /** Something has changed while it was read. */
   bool readsAgain_ = false;
   bool flushing_ = false;
};

}  // namespace OpenVSwitch
