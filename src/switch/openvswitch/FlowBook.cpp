#include "switch/openvswitch/FlowBook.h"

#include <algorithm>
#include <utility>

#include "platform/kel/Hash.h"
#include "switch/openvswitch/Tables.h"

namespace OpenVSwitch {

using OpenFlow::FlowChange;
using OpenFlowTable::FlowStatus;

namespace {

/** Flows in a bundle, where a key doesn't have more: large enough that its commit doesn't count,
 * small enough for one turn. */
constexpr std::size_t slice = 1024;
/** Bundles on their way: the next one is composed while the switch works. */
constexpr std::size_t mostUnanswered = 8;

std::uint64_t placeOf( OpenFlow::Flow const & flow ) {
   return Kel::combineHash( Kel::combineHash( flow.table, flow.priority ), flow.match.hash() );
}

}  // namespace

void FlowBook::Standing::add( OwnMatches::Place place, OpenFlow::Flow const & flow ) {
   ++count;
   matches += place;
   contents += Kel::combineHash( place, flow.actions.hash() );
}

FlowBook::CookieValue FlowBook::cookieOf( FlowSource const & source, Kel::String const & key ) {
   CookieValue const cookie =
      Kel::combineHash( Kel::combineHash( 0, Kel::hashBytes( source.name() ) ), key.hash() );
   return cookie < Cookie::firstOwn ? cookie + Cookie::firstOwn : cookie;
}

std::uint8_t FlowBook::numberOf( FlowSource & source ) {
   auto const found = std::ranges::find( sources_, &source );
   auto const number = static_cast< std::uint8_t >( found - sources_.begin() );
   if ( found == sources_.end() ) {
      sources_.push_back( &source );
   }
   return number;
}

// --- What has changed ---

void FlowBook::changed( FlowSource & source, Kel::String const & key ) {
   CookieValue const cookie = cookieOf( source, key );
   Entries::value_type & place = *entries_.try_emplace( cookie ).first;
   Entry & entry = place.second;
   if ( auto const stranger = strangers_.extract( cookie ) ) {
      entry.standing = stranger.mapped();
      // Another may have taken a match over meanwhile: all of it is sent.
      ++entry.standing.contents;
   }
   entry.source = numberOf( source );
   entry.key = key;
   mark( place );
}

void FlowBook::changed( FlowSource & source ) {
   std::uint8_t const number = numberOf( source );
   for ( Entries::value_type & place : entries_ ) {
      if ( place.second.source == number ) {
         mark( place );
      }
   }
}

void FlowBook::mark( Entries::value_type & place, bool isNext ) {
   if ( Entry & entry = place.second; !std::exchange( entry.dirty, true ) ) {
      auto & keys = dirty_.at( static_cast< std::size_t >( sourceOf( entry ).rank( entry.key ) ) );
      keys.insert( isNext ? keys.begin() : keys.end(), &place );
      flushSoon();
   }
}

// --- What the bridge has ---

void FlowBook::reconcile() {
   if ( isReading_ ) {
      readsAgain_ = true;
      return;
   }
   beginReading();
   connection_.readFlows(
      OpenFlow::allTables,
      [this]( std::vector< OpenFlow::Flow > const & flows ) {
         for ( OpenFlow::Flow const & flow : flows ) {
            found( flow );
         }
      },
      [this] { compare(); } );
}

void FlowBook::beginReading() {
   reconciled_ = false;
   isReading_ = true;
   readsAgain_ = false;
   found_.clear();
   strangers_.clear();
   misplaced_.clear();
}

void FlowBook::lost() {
   beginReading();
   isReading_ = false;
   unanswered_ = 0;
}

void FlowBook::found( OpenFlow::Flow const & flow ) {
   if ( Cookie::isLearnt( flow.table, flow.cookie ) ) {
      return;
   }
   if ( flow.cookie == Cookie::learntHost || flow.cookie == Cookie::learntNexthop ) {
      misplaced_.push_back( { FlowChange::Kind::deleteStrict, flow } );
   } else {
      found_[flow.cookie].add( placeOf( flow ), flow );
   }
}

bool FlowBook::compare() {
   bool isNew = true;
   for ( auto const & [cookie, standing] : found_ ) {
      if ( entries_.contains( cookie ) ) {
         isNew = false;
      } else {
         strangers_.emplace( cookie, standing );
      }
   }
   // What was under way when the connection was lost may stand or not: what counts is what was
   // found.
   for ( Entries::value_type & place : entries_ ) {
      Entry & entry = place.second;
      auto const standing = found_.find( place.first );
      entry.standing = standing == found_.end() ? Standing{} : standing->second;
      ++entry.sent;
      entry.isUnanswered = false;
      mark( place );
   }
   found_.clear();
   reconciled_ = true;
   isReading_ = false;
   if ( readsAgain_ ) {
      reconcile();
   } else {
      flushSoon();
   }
   return !isNew;
}

std::string FlowBook::nameOf( OpenFlow::Flow const & flow ) const {
   if ( Cookie::isLearnt( flow.table, flow.cookie ) ) {
      return "which it has learnt";
   }
   auto const found = entries_.find( flow.cookie );
   return found == entries_.end() ? "which is none of ours"
                                  : std::string( sourceOf( found->second ).name() ) + " " +
                                       found->second.key.stringValue();
}

// --- What is sent ---

void FlowBook::flushSoon() {
   if ( reconciled_ && !flushing_ ) {
      flushing_ = true;
      scheduler_->post( [this] {
         flushing_ = false;
         flush();
      } );
   }
}

void FlowBook::flush() {
   if ( !reconciled_ || unanswered_ >= mostUnanswered ) {
      return;
   }
   std::vector< FlowChange > changes;
   std::vector< Sent > sent;
   auto const first = [this] {
      return std::ranges::find_if( dirty_, []( auto const & keys ) { return !keys.empty(); } );
   };
   auto const entrances = dirty_.end() - 1;
   if ( first() >= entrances ) {
      if ( unanswered_ > 0 ) {
         return;
      }
      // Behind all that takes their place, and before frames come in.
      takeStrangers( changes );
   }
   auto const found = first();
   bool const isWaiting = found == entrances && !changes.empty();
   if ( found != dirty_.end() && !isWaiting ) {
      std::size_t const most = changes.size() + slice;
      for ( std::size_t keys = 0; keys < slice && changes.size() < most && !found->empty();
            ++keys ) {
         Place const place = found->front();
         found->pop_front();
         place->second.dirty = false;
         compose( *place, changes, sent );
      }
   }
   if ( !changes.empty() || !sent.empty() ) {
      ++unanswered_;
      connection_.program( std::move( changes ),
                           [this, sent = std::move( sent )](
                              std::vector< OpenFlow::Refusal > const & refusals ) mutable {
                              --unanswered_;
                              finished( std::move( sent ), refusals );
                              flushSoon();
                           } );
   }
   if ( isDirty() && !isWaiting ) {
      flushSoon();
   }
}

// Those that have waited for room go in with them: no frame meets neither.
void FlowBook::takeStrangers( std::vector< FlowChange > & changes ) {
   changes = std::exchange( misplaced_, {} );
   counts_.removed += changes.size();
   for ( auto const & [cookie, standing] : std::exchange( strangers_, {} ) ) {
      changes.push_back( FlowChange::deleteByCookie( cookie ) );
      counts_.removed += standing.count;
   }
   if ( !changes.empty() ) {
      retryRefused();
   }
}

void FlowBook::compose( Entries::value_type & place, std::vector< FlowChange > & changes,
                        std::vector< Sent > & sent ) {
   auto & [cookie, entry] = place;
   WantedFlows wanted = sourceOf( entry ).flows( entry.key );
   Standing next;
   std::uint64_t tables = 0;
   matches_.clear();
   for ( OpenFlow::Flow & flow : wanted.flows ) {
      flow.cookie = cookie;
      matches_.push_back( placeOf( flow ) );
      next.add( matches_.back(), flow );
      tables |= bitOf( flow.table );
   }
   unclaim( entry );
   if ( wanted.exclusive && !wanted.flows.empty() ) {
      claim( place, wanted );
      if ( wanted.flows.empty() ) {
         next = {};
      }
   }
   bool const isRefused = !wanted.refused.reason.empty();
   if ( next == entry.standing && next.count > 0 ) {
      entry.tables = tables;
      // What is on its way to the bridge is answered when it has arrived.
      if ( !entry.isUnanswered ) {
         answer( entry, { FlowStatus::active, {} } );
      }
      if ( std::uint32_t const given = endRetry( cookie ) ) {
         // It did not take its room.
         Room room;
         addRoom( room, entry.tables, given );
         retryWithRoom( room, false );
      }
      return;
   }
   Sent mine{ .place = &place,
              .serial = ++entry.sent,
              .from = entry.tables,
              .removal = wanted.flows.empty() && !isRefused,
              .stood = entry.standing.count,
              .added = static_cast< std::uint32_t >( wanted.flows.size() ),
              .answer = isRefused ? wanted.refused : Answer{ FlowStatus::active, {} } };
   std::size_t const first = changes.size();
   // A flow that only does something else is overwritten.
   if ( entry.standing.count > 0 && next.matches != entry.standing.matches ) {
      changes.push_back( FlowChange::deleteByCookie( cookie ) );
      counts_.removed += entry.standing.count;
      mine.removed = entry.standing.count;
   }
   counts_.added += wanted.flows.size();
   if ( !wanted.flows.empty() ) {
      entry.tables = tables;
   }
   for ( OpenFlow::Flow & flow : wanted.flows ) {
      changes.push_back( FlowChange::add( std::move( flow ) ) );
   }
   for ( std::size_t i = first + 1; i < changes.size(); ++i ) {
      changes[i].isJoined = true;
   }
   mine.last = changes.size();
   entry.isUnanswered = true;
   entry.standing = next;
   sent.push_back( std::move( mine ) );
}

void FlowBook::claim( Entries::value_type & place, WantedFlows & wanted ) {
   if ( CookieValue const other = ownMatches_.claim( place.first, matches_ ) ) {
      ownMatches_.await( place.first, matches_ );
      wanted.flows.clear();
      wanted.refused = { FlowStatus::refused10,
                         "the same is matched by " + entries_.at( other ).key.stringValue() };
   } else {
      place.second.claim = matches_.front();
   }
}

void FlowBook::unclaim( Entry & entry ) {
   for ( CookieValue const waited : ownMatches_.release( std::exchange( entry.claim, 0 ) ) ) {
      if ( auto const found = entries_.find( waited ); found != entries_.end() ) {
         // With what it takes the place of.
         mark( *found, true );
      }
   }
}

}  // namespace OpenVSwitch
