#include <algorithm>
#include <bit>
#include <limits>
#include <utility>

#include "switch/openvswitch/FlowBook.h"

/* What the bridge answers, and who is tried again then. */

namespace OpenVSwitch {

using OpenFlow::FlowChange;
using OpenFlowTable::FlowStatus;

void FlowBook::finished( std::vector< Sent > sent,
                         std::vector< OpenFlow::Refusal > const & refusals ) {
   auto refusal = refusals.begin();
   Room room;
   Room perhaps;
   std::vector< FlowChange > leftovers;
   Room roomOfLeftovers;
   for ( Sent & mine : sent ) {
      bool isMet = true;
      for ( ; refusal != refusals.end() && refusal->index < mine.last; ++refusal ) {
         mine.answer = answerTo( *refusal );
         mine.fullTable = refusal->table;
         isMet = false;
      }
      Entry & entry = mine.place->second;
      if ( isMet ) {
         addRoom( room, mine.from, mine.removed );
      }
      if ( entry.sent != mine.serial ) {
         if ( !isMet && mine.removed > 0 ) {
            // What was to go stands beside what was sent since: all of it is sent once more.
            ++entry.standing.matches;
            mark( *mine.place );
         }
         continue;
      }
      entry.isUnanswered = false;
      if ( endRetry( mine.place->first ) != 0 ) {
         // There may be more room, or it did not take its.
         bool const isFull = mine.answer.status == FlowStatus::tableFull;
         addRoom( perhaps, entry.tables & ~( isFull ? bitOf( mine.fullTable ) : 0 ), 1 );
      }
      if ( mine.removal ) {
         FlowSource & source = sourceOf( entry );
         Kel::String const key = entry.key;
         unclaim( entry );
         // It may be wanted again.
         if ( !entry.dirty ) {
            refusedKeys_.erase( mine.place->first );
            entries_.erase( mine.place->first );
            source.removed( key );
         }
         continue;
      }
      if ( mine.answer.status != FlowStatus::active ) {
         // Of several flows some may stand, or all as they were before.
         if ( !isMet && ( mine.stood > 0 || mine.added > 1 ) ) {
            leftovers.push_back( FlowChange::deleteByCookie( mine.place->first ) );
            addRoom( roomOfLeftovers, mine.from, mine.stood );
         }
         refused( mine );
      }
      answer( entry, mine.answer );
   }
   if ( !leftovers.empty() ) {
      // They go behind what is being read, which has them still.
      readsAgain_ = readsAgain_ || isReading_;
      connection_.program( std::move( leftovers ), [this, roomOfLeftovers]( auto const & ) {
         retryWithRoom( roomOfLeftovers, true );
      } );
   }
   retryWithRoom( room, true );
   retryWithRoom( perhaps, false );
}

void FlowBook::refused( Sent const & mine ) {
   auto & [cookie, entry] = *mine.place;
   entry.standing = {};
   unclaim( entry );
   Refused & known = refusedKeys_[cookie];
   known.wants = std::max< std::uint32_t >( mostInOne( entry.tables, mine.added ), 1 );
   bool const isFull = mine.answer.status == FlowStatus::tableFull;
   bool & isAmongThem = isFull ? known.waitsForRoom : known.waitsOtherwise;
   if ( !isAmongThem || ( isFull && known.waitsIn != mine.fullTable ) ) {
      isAmongThem = true;
      known.waitsIn = isFull ? mine.fullTable : known.waitsIn;
      ( isFull ? withoutRoom_[mine.fullTable] : refused_ ).push_back( cookie );
   }
}

void FlowBook::answer( Entry & entry, Answer const & given ) {
   sourceOf( entry ).answered( entry.key, given );
}

// --- Those that are tried again ---

std::uint64_t FlowBook::bitOf( std::uint8_t table ) {
   // No flow of ours is in a table behind those.
   constexpr std::uint8_t tables = 64;
   return table < tables ? std::uint64_t{ 1 } << table : 0;
}

std::uint32_t FlowBook::mostInOne( std::uint64_t tables, std::uint32_t flows ) {
   // Each of the tables has one at least.
   auto const others = static_cast< std::uint32_t >( std::popcount( tables ) );
   return flows >= others ? flows - others + 1 : flows;
}

void FlowBook::addRoom( Room & room, std::uint64_t tables, std::uint32_t flows ) {
   std::uint32_t const most = mostInOne( tables, flows );
   for ( ; most != 0 && tables != 0; tables &= tables - 1 ) {
      room[static_cast< std::uint8_t >( std::countr_zero( tables ) )] += most;
   }
}

void FlowBook::retryRefused() {
   constexpr std::size_t all = std::numeric_limits< std::size_t >::max();
   retry( refused_, &Refused::waitsOtherwise, all, false );
   for ( auto & [table, refused] : withoutRoom_ ) {
      retry( refused, &Refused::waitsForRoom, all, false );
   }
}

void FlowBook::retryWithRoom( Room const & room, bool isSure ) {
   for ( auto const & [table, flows] : room ) {
      if ( auto const found = withoutRoom_.find( table ); found != withoutRoom_.end() ) {
         retry( found->second, &Refused::waitsForRoom, flows, isSure );
      }
   }
}

void FlowBook::retry( std::deque< CookieValue > & refused, bool Refused::*isAmongThem,
                      std::size_t room, bool isSure ) {
   std::deque< CookieValue > left;
   while ( room > 0 && !refused.empty() ) {
      CookieValue const cookie = refused.front();
      refused.pop_front();
      auto const found = refusedKeys_.find( cookie );
      if ( found == refusedKeys_.end() || !( found->second.*isAmongThem ) ) {
         continue;
      }
      Refused & known = found->second;
      if ( known.wants > room ) {
         known.wants -= isSure ? static_cast< std::uint32_t >( room ) : 0;
         left.push_back( cookie );
         continue;
      }
      room -= known.wants;
      known.*isAmongThem = false;
      known.isRetried = true;
      mark( *entries_.find( cookie ) );
   }
   refused.insert( refused.begin(), left.begin(), left.end() );
}

std::uint32_t FlowBook::endRetry( CookieValue cookie ) {
   auto const found = refusedKeys_.find( cookie );
   if ( found == refusedKeys_.end() || !std::exchange( found->second.isRetried, false ) ) {
      return 0;
   }
   Refused const known = found->second;
   if ( !known.waitsForRoom && !known.waitsOtherwise ) {
      refusedKeys_.erase( found );
   }
   return known.wants;
}

Answer answerTo( OpenFlow::Refusal const & refusal ) {
   return { isTableFull( refusal )  ? FlowStatus::tableFull
            : isBadPort( refusal )  ? FlowStatus::refused6
            : isBadMatch( refusal ) ? FlowStatus::refused10
                                    : FlowStatus::refused7,
            refusal.text() };
}

}  // namespace OpenVSwitch
