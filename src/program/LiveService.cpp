#include "program/LiveService.h"

#include <malloc.h>

#include <chrono>
#include <optional>
#include <sstream>
#include <utility>
#include <vector>

#include "documents/Document.h"
#include "platform/flashlog/Flashlog.h"
#include "platform/kel/Assert.h"
#include "platform/kel/StandardError.h"
#include "program/EventLog.h"
#include "program/ServiceManager.h"
#include "program/SpareMemory.h"
#include "program/StopSignal.h"
#include "program/StoreLog.h"
#include "stores/redis/Keys.h"

namespace Program {

namespace {

using Event = Redis::RedisStore::Event;

constexpr int exitRefused = 1;
constexpr Orb::Seconds longestEnd = 10;

/** "0.001:17,0.01:18": so many turns lasted up to so many seconds. */
std::string lengthsOf( Orb::TaskScheduler::Turns const & turns ) {
   std::ostringstream text;
   std::uint64_t count = 0;
   for ( std::size_t i = 0; i != turns.steps.size(); ++i ) {
      count += turns.upTo[i];
      text << ( i == 0 ? "" : "," ) << turns.steps[i] << ':' << count;
   }
   return text.str();
}

/** Tells each second what the process says of itself, where that has changed. */
class ProcessRow : private Orb::Timer {
 public:
   explicit ProcessRow( LiveState & state ) : state_( state ), started_( secondsOfDay() ) { due(); }
   ~ProcessRow() override { state_.scheduler().disarm( *this ); }
   ProcessRow( ProcessRow const & ) = delete;
   ProcessRow & operator=( ProcessRow const & ) = delete;

 private:
   static std::string secondsOfDay() {
      return std::to_string( std::chrono::duration_cast< std::chrono::seconds >(
                                std::chrono::system_clock::now().time_since_epoch() )
                                .count() );
   }

   void due() override {
      state_.scheduler().arm( *this, state_.scheduler().now() + 1 );
      auto const counters = state_.store().counters();
      // Its own row must not be the reason for the next one.
      std::size_t const skipped = state_.store().skipped().size() + state_.store().furtherSkipped();
      auto const & turns = state_.scheduler().turns();
      std::size_t const queue = state_.scheduler().queue();
      if ( counters_ == counters && skipped == skipped_ && queue == queue_ &&
           turns.longest == longestTurn_ ) {
         return;
      }
      bool const told =
         state_.store().processIs( { { "started", started_ },
                                     { "changed", secondsOfDay() },
                                     { "turns", std::to_string( turns.count ) },
                                     { "longestTurn", std::to_string( turns.longest ) },
                                     { "turnSeconds", std::to_string( turns.together ) },
                                     { "turnLengths", lengthsOf( turns ) },
                                     { "queue", std::to_string( queue ) },
                                     { "written", std::to_string( counters.written ) },
                                     { "sentAgain", std::to_string( counters.sentAgain ) },
                                     { "skipped", std::to_string( skipped ) },
                                     { "reconnects", std::to_string( counters.reconnects ) } } );
      if ( told ) {
         counters_ = counters;
         skipped_ = skipped;
         queue_ = queue;
         longestTurn_ = turns.longest;
      }
   }

   LiveState & state_;
   std::string started_;
   /** What it has told. */
   std::optional< Redis::RedisStore::Counters > counters_;
   std::size_t skipped_ = 0;
   std::size_t queue_ = 0;
   Orb::Seconds longestTurn_ = 0;
};

/** Writes what is left and gives the lease back. False when the server doesn't take it in time. */
bool finish( LiveState & state ) {
   Orb::TaskScheduler & scheduler = state.scheduler();
   Orb::Seconds const latest = scheduler.now() + longestEnd;
   // A timer of its own, since nothing else may be due by then.
   struct : Orb::Timer {
      void due() override {}
   } limit;
   scheduler.arm( limit, latest );
   auto const waitUntil = [&]( std::function< bool() > const & done ) {
      scheduler.run( [&] { return done() || scheduler.now() >= latest; } );
      return done();
   };
   auto const written = [&] {
      return state.store().isWritten() && state.store().takes() == Corestore::Store::Takes::now;
   };
   bool done = waitUntil( written );
   if ( done ) {
      state.entityManager().save();
      done = waitUntil( written );
   }
   if ( done ) {
      state.store().release();
      done = waitUntil( [&] { return state.store().isWritten(); } );
   }
   scheduler.disarm( limit );
   return done;
}

}  // namespace

int runService( LiveService const & service ) {
   logIs( service.logFormat == "json" ? LogFormat::json : LogFormat::text, service.role );
   if ( !service.traceFile.empty() ) {
      try {
         Flashlog::open( service.traceFile );
      } catch ( std::runtime_error const & e ) {
         throw Documents::InputError( service.traceFile, "", e.what() );
      }
   }
   bool ended = false;
   LiveState::Setup setup;
   setup.role = service.role;
   setup.owns = service.owns;
   setup.follows = service.follows;
   setup.leaseTime = service.lease;
   setup.endIfHeld = service.endIfHeld;
   Redis::Keys const keys( service.live.switchName );
   setup.tell = [&ended, keys]( Event event, std::string const & text, std::string const & row ) {
      ended = ended || event == Event::ended;
      logStoreEvent( event, text, row, keys );
      // Of rows there may be many.
      if ( event != Event::skipped ) {
         // Who waits for the engine, or for another one to end, is up: whoever starts it, or
         // installs it anew, does not wait for that, too.
         tellServiceManager( ( event == Event::trouble ? "READY=1\nSTATUS=" : "STATUS=" ) +
                             Kel::oneLine( text ) );
      }
   };
   // Never destroyed: at the end of the process the state stays as it is.
   LiveState & state = *new LiveState( service.live, std::move( setup ) );
   StopSignal const stop( &state.scheduler() );
   Watchdog const watchdog( &state.scheduler() );
   auto const over = [&] { return stop.came() || ended; };
   bool isBeginning = false;
   Kel::FlushHook const lastWords( [&] {
      if ( std::string const row = state.entityManager().arriving(); !row.empty() ) {
         logEvent( LogLevel::error, "ended by the row " + Kel::shownName( keys.of( row ) ),
                   { { "event", "ended" }, { "row", keys.of( row ) } } );
      } else if ( isBeginning ) {
         std::string const hint =
            service.explainedBy.empty() ? "" : "; \"" + service.explainedBy + "\" names the row";
         logEvent( LogLevel::error, "ended by what stood when it began" + hint,
                   { { "event", "ended" } } );
      }
   } );

   state.scheduler().run( [&] { return over() || state.store().isReady(); } );
   bool const attached = !over();
   if ( attached ) {
      state.attach();
      isBeginning = true;
      service.begin( state.entityManager() );
      logEvent( LogLevel::info, service.role + " serves switch " + service.live.switchName,
                { { "event", "ready" }, { "switch", service.live.switchName } } );
      tellServiceManager( "READY=1\nSTATUS=serves switch " + service.live.switchName );
      // What has been read was held twice.
      ::malloc_trim( 0 );
      ProcessRow const process( state );
      SpareMemory const spareMemory( Kel::Ptr< Orb::TaskScheduler >( &state.scheduler() ) );
      state.scheduler().run( [&] {
         isBeginning = isBeginning && state.scheduler().queue() != 0;
         return over();
      } );
   }
   tellServiceManager( "STOPPING=1" );
   if ( ended ) {
      return exitRefused;
   }
   if ( attached && !finish( state ) ) {
      logEvent( LogLevel::error, "the last changes are not written within 10 seconds" );
      return exitRefused;
   }
   logEvent( LogLevel::info, service.role + " ends", { { "event", "end" } } );
   return 0;
}

}  // namespace Program
