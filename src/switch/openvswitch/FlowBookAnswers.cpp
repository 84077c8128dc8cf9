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
      entry.answered = entry.sent;
      if ( std::exchange( entry.isRetried, false ) ) {
         // There may be more room, or it did not take its.
         bool const isFull = mine.answer.status == FlowStatus::tableFull;
         addRoom( perhaps, entry.tables & ~( isFull ? bitOf( mine.fullTable ) : 0 ), 1 );
      }
      if ( mine.removal ) {
         FlowSource & source = *entry.source;
         Kel::String const key = entry.key;
         unclaim( entry );
         // It may be wanted again.
         if ( !entry.dirty ) {
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
   entry.wants = std::max< std::uint32_t >( mostInOne( entry.tables, mine.added ), 1 );
   unclaim( entry );
   bool const isFull = mine.answer.status == FlowStatus::tableFull;
   bool & isAmongThem = isFull ? entry.waitsForRoom : entry.isRefused;
   if ( !isAmongThem || ( isFull && entry.waitsIn != mine.fullTable ) ) {
      isAmongThem = true;
      entry.waitsIn = isFull ? mine.fullTable : entry.waitsIn;
      ( isFull ? withoutRoom_[mine.fullTable] : refused_ ).push_back( cookie );
   }
}

void FlowBook::answer( Entry & entry, Answer const & given ) {
   entry.source->answered( entry.key, given );
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
   retry( refused_, &Entry::isRefused, all, false );
   for ( auto & [table, refused] : withoutRoom_ ) {
      retry( refused, &Entry::waitsForRoom, all, false );
   }
}

void FlowBook::retryWithRoom( Room const & room, bool isSure ) {
   for ( auto const & [table, flows] : room ) {
      if ( auto const found = withoutRoom_.find( table ); found != withoutRoom_.end() ) {
         retry( found->second, &Entry::waitsForRoom, flows, isSure );
      }
   }
}

void FlowBook::retry( std::deque< CookieValue > & refused, bool Entry::*isAmongThem,
                      std::size_t room, bool isSure ) {
   std::deque< CookieValue > left;
   while ( room > 0 && !refused.empty() ) {
      CookieValue const cookie = refused.front();
      refused.pop_front();
      auto const found = entries_.find( cookie );
      if ( found == entries_.end() || !( found->second.*isAmongThem ) ) {
         continue;
      }
      Entry & entry = found->second;
      if ( entry.wants > room ) {
         entry.wants -= isSure ? static_cast< std::uint32_t >( room ) : 0;
         left.push_back( cookie );
         continue;
      }
      room -= entry.wants;
      entry.*isAmongThem = false;
      entry.isRetried = true;
      mark( *found );
   }
   refused.insert( refused.begin(), left.begin(), left.end() );
}

Answer answerTo( OpenFlow::Refusal const & refusal ) {
   return { isTableFull( refusal )  ? FlowStatus::tableFull
            : isBadPort( refusal )  ? FlowStatus::refused6
            : isBadMatch( refusal ) ? FlowStatus::refused10
                                    : FlowStatus::refused7,
            refusal.text() };
}

}  // namespace OpenVSwitch
