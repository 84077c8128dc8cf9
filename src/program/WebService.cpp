#include "program/WebService.h"

#include <malloc.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <fstream>
#include <optional>
#include <system_error>

#include "documents/Document.h"
#include "platform/kel/StandardError.h"
#include "program/EventLog.h"
#include "program/ServiceManager.h"
#include "program/SpareMemory.h"
#include "program/StopSignal.h"
#include "program/StoreLog.h"
#include "records/catalog/Catalog.h"
#include "web/Server.h"
#include "web/Site.h"

namespace Program {

namespace {

using Event = Redis::RedisStore::Event;

constexpr std::size_t shortestToken = 16;

std::string tokenOf( std::string const & file ) {
   if ( file.empty() ) {
      return {};
   }
   errno = 0;
   std::ifstream in( file );
   std::string token;
   std::getline( in, token );
   if ( !in && token.empty() && errno != 0 ) {
      throw Documents::InputError( file, "", std::generic_category().message( errno ) );
   }
   token.erase( token.find_last_not_of( " \t\r" ) + 1 );
   if ( token.size() < shortestToken ) {
      throw Documents::InputError(
         file, "", "its first line has no " + std::to_string( shortestToken ) + " characters" );
   }
   return token;
}

/** Looks each second at what only the engine knows, and keeps open pages alive. */
class Watch : private Orb::Timer {
 public:
   Watch( LiveState & state, Web::Site & site ) : state_( state ), site_( site ) { due(); }
   ~Watch() override { state_.scheduler().disarm( *this ); }
   Watch( Watch const & ) = delete;
   Watch & operator=( Watch const & ) = delete;

   /** What the store says last. */
   void wordsAre( std::string words ) {
      words_ = std::move( words );
      tell();
   }

 private:
   static constexpr char const * roles[] = { "qorclient", "qorswitch" };
   static constexpr int beatEvery = 15;

   void due() override {
      state_.scheduler().arm( *this, state_.scheduler().now() + 1 );
      if ( ++seconds_ % beatEvery == 0 ) {
         site_.events().beat();
      }
      if ( state_.store().isReady() ) {
         for ( char const * role : roles ) {
            state_.store().askProcess( role,
                                       [this, role]( Redis::RedisStore::Process const & process ) {
                                          heard( role, process );
                                       } );
         }
      }
      tell();
   }

   void heard( std::string const & role, Redis::RedisStore::Process const & process ) {
      Web::ProcessWords words{ role, process.holder, process.fields };
      auto const known = std::ranges::find( processes_, role, &Web::ProcessWords::role );
      if ( known == processes_.end() ) {
         processes_.push_back( std::move( words ) );
      } else {
         *known = std::move( words );
      }
      tell();
   }

   void tell() {
      bool const isThere = state_.store().isReady();
      site_.situationIs( { .isThere = isThere,
                           .words = isThere ? "the state is followed" : words_,
                           .processes = processes_,
                           .skipped = state_.store().skipped(),
                           .furtherSkipped = state_.store().furtherSkipped(),
                           .reconnects = state_.store().counters().reconnects } );
   }

   LiveState & state_;
   Web::Site & site_;
   std::string words_;
   std::vector< Web::ProcessWords > processes_;
   int seconds_ = 0;
};

}  // namespace

int serveWeb( WebOptions const & options ) {
   // It only looks on: the agent goes first where processors are few.
   constexpr int makesWay = 10;
   [[maybe_unused]] int const priority = ::nice( makesWay );
   logIs( options.logFormat == "json" ? LogFormat::json : LogFormat::text, "qorclient-web" );
   Redis::Address const address = *Redis::addressOf( options.listen );
   Web::Place const place{ address.socket, address.host, address.port };
   std::string const token = tokenOf( options.tokenFile );
   if ( !place.isLocal() && token.empty() ) {
      throw Documents::InputError( options.listen, "",
                                   "others than this machine's own users come in there: "
                                   "--token-file says what they have to know" );
   }
   int const socket = Web::listenAt( place );

   std::optional< Watch > watch;
   LiveState::Setup setup;
   setup.tell = [&watch, keys = Redis::Keys( options.live.switchName )](
                   Event event, std::string const & text, std::string const & row ) {
      logStoreEvent( event, text, row, keys );
      if ( watch && event != Event::skipped ) {
         watch->wordsAre( text );
      }
   };
   // What only the agent needs changes with each answer, and is read whole: 100,000 entries.
   setup.follows = [books = Catalog::pathOf( "agentStatus" ) + std::string( "/ruleState" )](
                      std::string_view path ) { return !path.starts_with( books ); };
   // Never destroyed: at the end of the process the state stays as it is.
   LiveState & state = *new LiveState( options.live, std::move( setup ) );
   auto & site = *new Web::Site( state.entityManager(), options.live.switchName,
                                 Web::Guard( place, options.names, token ) );
   Web::Server const server(
      Kel::Ptr< Orb::TaskScheduler >( &state.scheduler() ), socket,
      [&site]( Web::Request const & request ) { return site.answer( request ); }, site.events() );
   site.serverCountsAre( [&server] {
      return Web::ServerCounts{ server.connections(), server.streams() };
   } );
   watch.emplace( state, site );
   StopSignal const stop( &state.scheduler() );
   Watchdog const watchdog( &state.scheduler() );
   logEvent( LogLevel::info,
             "the page of switch " + options.live.switchName + " is at " +
                ( place.socket.empty() ? "http://" : "" ) + options.listen,
             { { "event", "ready" }, { "switch", options.live.switchName } } );
   tellServiceManager( "READY=1" );

   state.scheduler().run( [&] { return stop.came() || state.store().isReady(); } );
   if ( !stop.came() ) {
      state.attach();
      site.follow();
      watch->wordsAre( "" );
      // What has been read was held twice.
      ::malloc_trim( 0 );
      SpareMemory const spareMemory( Kel::Ptr< Orb::TaskScheduler >( &state.scheduler() ) );
      state.scheduler().run( [&] { return stop.came(); } );
   }
   tellServiceManager( "STOPPING=1" );
   watch.reset();
   logEvent( LogLevel::info, "the page ends", { { "event", "end" } } );
   return 0;
}

}  // namespace Program
