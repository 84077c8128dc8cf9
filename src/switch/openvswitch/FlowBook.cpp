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

void FlowBook::Standing::add( OpenFlow::Flow const & flow ) {
   std::uint64_t const place = placeOf( flow );
   ++count;
   matches += place;
   contents += Kel::combineHash( place, flow.actions.hash() );
}

FlowBook::CookieValue FlowBook::cookieOf( FlowSource const & source, Kel::String const & key ) {
   CookieValue const cookie =
      Kel::combineHash( Kel::combineHash( 0, Kel::hashBytes( source.name() ) ), key.hash() );
   return cookie < Cookie::firstOwn ? cookie + Cookie::firstOwn : cookie;
}

// --- What has changed ---

void FlowBook::changed( FlowSource & source, Kel::String const & key ) {
   CookieValue const cookie = cookieOf( source, key );
   Entry & entry = entries_[cookie];
   if ( auto const stranger = strangers_.extract( cookie ) ) {
      entry.standing = stranger.mapped();
      // Another may have taken a match over meanwhile: all of it is sent.
      ++entry.standing.contents;
   }
   entry.source = &source;
   entry.key = key;
   mark( cookie, entry );
}

void FlowBook::changed( FlowSource & source ) {
   for ( auto & [cookie, entry] : entries_ ) {
      if ( entry.source == &source ) {
         mark( cookie, entry );
      }
   }
}

void FlowBook::retryRefused() {
   retry( refused_, &Entry::isRefused, refused_.size() );
   for ( auto & [table, refused] : withoutRoom_ ) {
      retry( refused, &Entry::waitsForRoom, refused.size() );
   }
}

void FlowBook::retry( std::deque< CookieValue > & refused, bool Entry::*isAmongThem,
                      std::size_t atMost ) {
   while ( atMost > 0 && !refused.empty() ) {
      CookieValue const cookie = refused.front();
      refused.pop_front();
      if ( auto const found = entries_.find( cookie ); found != entries_.end() ) {
         --atMost;
         found->second.*isAmongThem = false;
         found->second.isRetried = true;
         mark( cookie, found->second );
      }
   }
}

void FlowBook::mark( CookieValue cookie, Entry & entry ) {
   if ( !entry.dirty ) {
      entry.dirty = true;
      dirty_.at( static_cast< std::size_t >( entry.source->rank( entry.key ) ) )
         .push_back( cookie );
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
      found_[flow.cookie].add( flow );
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
   for ( auto & [cookie, entry] : entries_ ) {
      auto const standing = found_.find( cookie );
      entry.standing = standing == found_.end() ? Standing{} : standing->second;
      entry.answered = ++entry.sent;
      mark( cookie, entry );
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
   return found == entries_.end()
             ? "which is none of ours"
             : std::string( found->second.source->name() ) + " " + found->second.key.stringValue();
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
   auto const found =
      std::ranges::find_if( dirty_, []( auto const & keys ) { return !keys.empty(); } );
   if ( found >= dirty_.end() - 1 ) {
      // Behind all that takes their place, and before frames come in.
      removeStrangers();
   }
   if ( found == dirty_.end() || ( found == dirty_.end() - 1 && unanswered_ > 0 ) ) {
      return;
   }
   auto & dirty = *found;
   for ( std::size_t keys = 0; keys < slice && changes.size() < slice && !dirty.empty(); ++keys ) {
      CookieValue const cookie = dirty.front();
      dirty.pop_front();
      Entry & entry = entries_.at( cookie );
      entry.dirty = false;
      compose( cookie, entry, changes, sent );
   }
   if ( !sent.empty() ) {
      ++unanswered_;
      connection_.program( std::move( changes ),
                           [this, sent = std::move( sent )](
                              std::vector< OpenFlow::Refusal > const & refusals ) mutable {
                              --unanswered_;
                              finished( std::move( sent ), refusals );
                              flushSoon();
                           } );
   }
   if ( isDirty() ) {
      flushSoon();
   }
}

void FlowBook::removeStrangers() {
   std::vector< FlowChange > changes = std::exchange( misplaced_, {} );
   counts_.removed += changes.size();
   for ( auto const & [cookie, standing] : std::exchange( strangers_, {} ) ) {
      changes.push_back( FlowChange::deleteByCookie( cookie ) );
      counts_.removed += standing.count;
   }
   if ( !changes.empty() ) {
      ++unanswered_;
      connection_.program( std::move( changes ), [this]( auto const & ) {
         --unanswered_;
         retryRefused();
         flushSoon();
      } );
   }
}

void FlowBook::compose( CookieValue cookie, Entry & entry, std::vector< FlowChange > & changes,
                        std::vector< Sent > & sent ) {
   WantedFlows wanted = entry.source->flows( entry.key );
   Standing next;
   for ( OpenFlow::Flow & flow : wanted.flows ) {
      flow.cookie = cookie;
      next.add( flow );
   }
   unclaim( entry );
   if ( wanted.exclusive && !wanted.flows.empty() ) {
      if ( CookieValue const other = claimedBy( wanted.flows ) ) {
         waitFor( cookie, wanted.flows );
         wanted.flows.clear();
         next = {};
         wanted.refused = { FlowStatus::refused10,
                            "the same is matched by " + entries_.at( other ).key.stringValue() };
      } else {
         claim( cookie, entry, wanted.flows );
      }
   }
   bool const isRefused = !wanted.refused.reason.empty();
   if ( next == entry.standing && next.count > 0 ) {
      // What is on its way to the bridge is answered when it has arrived.
      if ( entry.answered == entry.sent ) {
         answer( entry, { FlowStatus::active, {} } );
      }
      if ( std::exchange( entry.isRetried, false ) ) {
         // It did not take its room.
         retry( withoutRoom_[entry.table], &Entry::waitsForRoom, 1 );
      }
      return;
   }
   Sent mine{ .cookie = cookie,
              .serial = ++entry.sent,
              .first = changes.size(),
              .removal = wanted.flows.empty() && !isRefused,
              .stood = entry.standing.count > 0,
              .answer = isRefused ? wanted.refused : Answer{ FlowStatus::active, {} } };
   // A flow that only does something else is overwritten, which no frame sees half done.
   if ( entry.standing.count > 0 && next.matches != entry.standing.matches ) {
      changes.push_back( FlowChange::deleteByCookie( cookie ) );
      counts_.removed += entry.standing.count;
      mine.removed = entry.standing.count;
      mine.from = entry.table;
   }
   counts_.added += wanted.flows.size();
   if ( !wanted.flows.empty() ) {
      entry.table = wanted.flows.front().table;
   }
   for ( OpenFlow::Flow & flow : wanted.flows ) {
      changes.push_back( FlowChange::add( std::move( flow ) ) );
   }
   mine.last = changes.size();
   entry.standing = next;
   sent.push_back( std::move( mine ) );
}

void FlowBook::finished( std::vector< Sent > sent,
                         std::vector< OpenFlow::Refusal > const & refusals ) {
   auto refusal = refusals.begin();
   std::map< std::uint8_t, std::size_t > room;
   std::vector< FlowChange > halves;
   for ( Sent & mine : sent ) {
      if ( mine.removed > 0 ) {
         room[mine.from] += mine.removed;
      }
      for ( ; refusal != refusals.end() && refusal->index < mine.last; ++refusal ) {
         mine.answer = answerTo( *refusal );
      }
      auto const found = entries_.find( mine.cookie );
      if ( found == entries_.end() || found->second.sent != mine.serial ) {
         continue;
      }
      Entry & entry = found->second;
      entry.answered = entry.sent;
      if ( std::exchange( entry.isRetried, false ) &&
           mine.answer.status != FlowStatus::tableFull ) {
         // There may be more room, or it did not take its.
         ++room[entry.table];
      }
      if ( mine.removal ) {
         FlowSource & source = *entry.source;
         Kel::String const key = entry.key;
         unclaim( entry );
         if ( entry.dirty ) {
            // It may be wanted again.
            continue;
         }
         entries_.erase( found );
         source.removed( key );
         continue;
      }
      if ( mine.answer.status != FlowStatus::active ) {
         // Of several flows some may stand, or one as it was before.
         if ( mine.stood || mine.last - mine.first > 1 ) {
            halves.push_back( FlowChange::deleteByCookie( mine.cookie ) );
         }
         entry.standing = {};
         unclaim( entry );
         refuse( mine.cookie, entry, mine.answer );
      }
      answer( entry, mine.answer );
   }
   if ( !halves.empty() ) {
      connection_.program( std::move( halves ), []( auto const & ) {} );
   }
   for ( auto const & [table, flows] : room ) {
      if ( auto const found = withoutRoom_.find( table ); found != withoutRoom_.end() ) {
         retry( found->second, &Entry::waitsForRoom, flows );
      }
   }
}

void FlowBook::refuse( CookieValue cookie, Entry & entry, Answer const & given ) {
   bool const isFull = given.status == FlowStatus::tableFull;
   if ( bool & isAmongThem = isFull ? entry.waitsForRoom : entry.isRefused; !isAmongThem ) {
      isAmongThem = true;
      ( isFull ? withoutRoom_[entry.table] : refused_ ).push_back( cookie );
   }
}

void FlowBook::answer( Entry & entry, Answer const & given ) {
   entry.source->answered( entry.key, given );
}

// --- Matches that are one's own ---

FlowBook::CookieValue FlowBook::claimedBy( std::vector< OpenFlow::Flow > const & flows ) const {
   for ( OpenFlow::Flow const & flow : flows ) {
      if ( auto const found = claims_.find( placeOf( flow ) ); found != claims_.end() ) {
         return found->second;
      }
   }
   return 0;
}

void FlowBook::claim( CookieValue cookie, Entry & entry,
                      std::vector< OpenFlow::Flow > const & flows ) {
   for ( OpenFlow::Flow const & flow : flows ) {
      claims_.emplace( placeOf( flow ), cookie );
      entry.claims.push_back( placeOf( flow ) );
   }
}

void FlowBook::waitFor( CookieValue cookie, std::vector< OpenFlow::Flow > const & flows ) {
   for ( OpenFlow::Flow const & flow : flows ) {
      auto const [first, last] = waiting_.equal_range( placeOf( flow ) );
      if ( std::none_of( first, last,
                         [cookie]( auto const & waits ) { return waits.second == cookie; } ) ) {
         waiting_.emplace( placeOf( flow ), cookie );
      }
   }
}

void FlowBook::unclaim( Entry & entry ) {
   for ( std::uint64_t const place : entry.claims ) {
      claims_.erase( place );
      auto const [first, last] = waiting_.equal_range( place );
      for ( auto at = first; at != last; ++at ) {
         if ( auto const found = entries_.find( at->second ); found != entries_.end() ) {
            mark( found->first, found->second );
         }
      }
      waiting_.erase( first, last );
   }
   entry.claims.clear();
}

Answer answerTo( OpenFlow::Refusal const & refusal ) {
   return { isTableFull( refusal )  ? FlowStatus::tableFull
            : isBadPort( refusal )  ? FlowStatus::refused6
            : isBadMatch( refusal ) ? FlowStatus::refused10
                                    : FlowStatus::refused7,
            refusal.text() };
}

}  // namespace OpenVSwitch
