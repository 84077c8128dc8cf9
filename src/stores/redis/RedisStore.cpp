#include "stores/redis/RedisStore.h"

#include <hiredis/hiredis.h>

#include <algorithm>
#include <charconv>

#include "platform/kel/StandardError.h"

namespace Redis {

namespace {

/** A lease is asked for again no sooner, even one that has no end. */
constexpr Orb::Seconds grace = 0.05;

std::uint64_t numberOf( std::string_view text ) {
   std::uint64_t number = 0;
   std::from_chars( text.data(), text.data() + text.size(), number );
   return number;
}

Identity identityOf( redisReply const & fields ) {
   Identity identity;
   auto const words = elementsOf( fields );
   for ( std::size_t i = 0; i + 1 < words.size(); i += 2 ) {
      if ( textOf( *words[i] ) == "id" ) {
         identity.id = textOf( *words[i + 1] );
      } else if ( textOf( *words[i] ) == "accepted" ) {
         identity.accepted = textOf( *words[i + 1] );
      }
   }
   return identity;
}

}  // namespace

RedisStore::RedisStore( Setup setup, Corestore::RowHolder const & holder )
   : setup_( std::move( setup ) ), keys_( setup_.switchName ), forms_( holder ) {
   if ( !setup_.role.empty() ) {
      lease_.emplace( keys_, setup_.role, setup_.leaseTime );
   }
   link_ = std::make_unique< Link >(
      setup_.scheduler, setup_.address, setup_.access, keys_,
      Link::Events{ .up = [this] { up(); },
                    .down = [this]( std::string const & reason ) { down( reason ); },
                    .changed = [this]( auto paths ) { changed( std::move( paths ) ); },
                    .allChanged = [this] { up(); } } );
}

RedisStore::~RedisStore() {
   setup_.scheduler->disarm( *this );
}

void RedisStore::tell( Event event, std::string const & text, std::string const & row ) const {
   if ( setup_.tell ) {
      setup_.tell( event, text, row );
   }
}

std::string RedisStore::shownServer() const {
   return Kel::shownName( link_->address().text() );
}

void RedisStore::holderIs( Corestore::RowHolder * holder ) {
   holder_ = holder;
   readChanged();
}

RedisStore::Counters RedisStore::counters() const {
   Counters counters = counters_;
   counters.reconnects = link_->losses();
   return counters;
}

// --- From a connection to a state that may be used ---

void RedisStore::beginAnew( Phase phase ) {
   ++attempt_;
   phase_ = phase;
   transactionOpen_ = inFlight_ = leaseWatched_ = false;
   changed_.clear();
   reading_.clear();
   isReading_ = false;
   read_ = {};
   books_.clear();
   bookWords_ = 0;
   setup_.scheduler->disarm( *this );
}

Connection::Answer RedisStore::ofNow( Connection::Answer answer ) {
   return [this, attempt = attempt_, answer = std::move( answer )]( redisReply const & reply ) {
      if ( attempt == attempt_ ) {
         answer( reply );
      }
   };
}

void RedisStore::up() {
   if ( phase_ == Phase::ended ) {
      return;
   }
   beginAnew( Phase::connecting );
   askState( [this]( Identity const & found ) {
      link_->commands().send( { "GET", keys_.turn( setup_.role ) },
                              ofNow( [this, found]( redisReply const & reply ) {
                                 if ( !failed( reply ) ) {
                                    identified( found, numberOf( textOf( reply ) ) );
                                 }
                              } ) );
   } );
}

void RedisStore::askState( std::function< void( Identity const & ) > answer ) {
   link_->commands().send( { "HGETALL", keys_.state() },
                           ofNow( [this, answer = std::move( answer )]( redisReply const & reply ) {
                              if ( !failed( reply ) ) {
                                 answer( identityOf( reply ) );
                              }
                           } ) );
}

void RedisStore::down( std::string const & reason ) {
   if ( phase_ == Phase::ended ) {
      return;
   }
   beginAnew( Phase::connecting );
   if ( !reason.empty() ) {
      tellWaiting( shownServer() + ": " + Kel::oneLine( reason ) +
                   ( setup_.waits ? "; it is waited for" : "" ) );
   }
}

void RedisStore::tellWaiting( std::string const & text ) {
   if ( std::exchange( waiting_, text ) != text ) {
      tell( Event::trouble, text );
   }
}

bool RedisStore::failed( redisReply const & reply ) {
   std::string_view const error = errorOf( reply );
   if ( !error.empty() ) {
      link_->fail( std::string( error ) );
   }
   return !error.empty();
}

void RedisStore::identified( Identity const & found, std::uint64_t turn ) {
   std::string const state = "state of switch " + setup_.switchName;
   if ( found.id.empty() ) {
      waitForState( "holds no " + state + "; \"qorclient init\" makes one" );
      return;
   }
   if ( identity_ && found.id != identity_->id ) {
      waitForState( "holds another " + state + " than before; a new start would take it" );
      return;
   }
   if ( identity_ && found == *identity_ && turn < turn_ ) {
      waitForState( "holds an older " + state +
                    " than before; \"qorclient init --accept\" takes it as it is" );
      return;
   }
   identity_ = found;
   turn_ = turn;
   if ( lease_ ) {
      askForLease();
   } else {
      readAll();
   }
}

void RedisStore::waitForState( std::string const & reason ) {
   phase_ = Phase::waitingForState;
   tellWaiting( shownServer() + ": " + reason );
}

void RedisStore::askForLease() {
   phase_ = Phase::asking;
   askAgain_ = false;
   lease_->ask( link_->commands(), [this, attempt = attempt_]( Lease::Asked const & answer ) {
      if ( attempt == attempt_ ) {
         asked( answer );
      }
   } );
}

void RedisStore::asked( Lease::Asked const & asked ) {
   using Result = Lease::Asked::Result;
   std::string const other =
      "switch " + setup_.switchName + " is served by " + shownHolder( asked.holder ) + " already";
   switch ( asked.result ) {
      case Result::held:
         renewed_ = setup_.scheduler->now();
         setup_.scheduler->arm( *this, renewed_ + lease_->time() / 3 );
         watchLease();
         readAll();
         break;
      case Result::heldByOther:
         if ( setup_.endIfHeld ) {
            end( other );
            break;
         }
         phase_ = Phase::waitingForLease;
         tellWaiting( other + "; it is waited for" );
         setup_.scheduler->arm(
            *this,
            setup_.scheduler->now() + ( askAgain_ ? grace : std::max( asked.seconds, grace ) ) );
         break;
      case Result::outdated:
         end( "another process has taken over switch " + setup_.switchName +
              ", so nothing is written any more" );
         break;
      case Result::failed:
         link_->fail( asked.error );
   }
}

void RedisStore::leaseChanged() {
   if ( phase_ == Phase::waitingForLease ) {
      setup_.scheduler->disarm( *this );
      askForLease();
   } else if ( phase_ == Phase::asking ) {
      // The answer may be older.
      askAgain_ = true;
   }
}

void RedisStore::watchLease() {
   lease_->watch( link_->commands(), [this, attempt = attempt_]( bool held ) {
      if ( attempt == attempt_ ) {
         leaseWatched_ = held;
         if ( !held ) {
            leaseLost();
         }
      }
   } );
}

// By a standstill, of this process or of the server; whoever has used the time has a higher fence.
// Or with all that stood there.
void RedisStore::leaseLost() {
   if ( phase_ == Phase::ready || phase_ == Phase::reading ) {
      up();
   }
}

void RedisStore::end( std::string const & reason ) {
   phase_ = Phase::ended;
   setup_.scheduler->disarm( *this );
   tell( Event::ended, reason );
}

void RedisStore::due() {
   if ( phase_ == Phase::waitingForLease ) {
      askForLease();
      return;
   }
   setup_.scheduler->arm( *this, setup_.scheduler->now() + lease_->time() / 3 );
   if ( setup_.scheduler->now() - renewed_ < lease_->time() / 4 ) {
      return;
   }
   // A long reading must not outlast it.
   if ( takes() == Takes::now || ( phase_ == Phase::reading && leaseWatched_ ) ) {
      begin();
      flush();
   }
}

}  // namespace Redis
