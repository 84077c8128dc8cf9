#include "program/LiveState.h"

#include <utility>

#include "platform/kel/StandardError.h"
#include "records/catalog/Catalog.h"

namespace Program {

std::string checkAddress( std::string const & text ) {
   return Redis::addressOf( text ) ? ""
                                   : Kel::shownName( text ) + " is neither unix:PATH nor HOST:PORT";
}

std::string checkSwitchName( std::string const & name ) {
   return Redis::isSwitchName( name )
             ? ""
             : "a switch's name is made of letters, digits, \"-\", \"_\" and \".\"";
}

LiveState::LiveState( LiveOptions const & options, Setup setup )
   : scheduler_( new Orb::TaskScheduler( std::make_unique< Orb::RealTime >() ) ),
     em_( new Corestore::EntityManager( scheduler_ ) ) {
   Catalog::createPlaces( *em_ );
   setup.scheduler = scheduler_;
   setup.address = *Redis::addressOf( options.redis );
   setup.access = Redis::accessOfEnvironment();
   setup.switchName = options.switchName;
   if ( !setup.tell ) {
      // A row that does not fit is no obstacle; audit lists them.
      setup.waits = false;
      setup.tell = [this]( Redis::RedisStore::Event event, std::string const & text,
                           std::string const & /* row */ ) {
         if ( event == Redis::RedisStore::Event::skipped ) {
            return;
         }
         if ( event == Redis::RedisStore::Event::trouble && !store_->isReady() ) {
            trouble_ = text;
         }
         if ( follower_ ) {
            follower_( text );
         }
      };
   }
   scheduler_->turnEndIs( [this] { em_->save(); } );
   store_ = std::make_unique< Redis::RedisStore >( std::move( setup ), *em_ );
}

LiveState::~LiveState() {
   scheduler_->turnEndIs( {} );
   scheduler_->postedDelAll();
   em_->storeIs( nullptr );
}

void LiveState::attach() {
   em_->storeIs( store_.get() );
}

void LiveState::waitFor( std::function< bool() > const & done ) {
   scheduler_->run( [&] { return done() || !trouble_.empty(); } );
   if ( !done() ) {
      throw Corestore::StoreError( trouble_ );
   }
}

void LiveState::open() {
   waitFor( [this] { return store_->isReady(); } );
   attach();
}

void LiveState::settle() {
   bool settled = false;
   while ( !settled ) {
      std::uint64_t const attempt = store_->attempt();
      store_->settle( [&settled] { settled = true; } );
      // When all is read anew there is no answer.
      waitFor( [&] { return settled || ( store_->attempt() != attempt && store_->isReady() ); } );
   }
}

bool LiveState::write( std::function< void() > const & change ) {
   std::uint64_t const attempt = store_->attempt();
   // While all is read anew, changes are forgotten.
   bool const isTaken = store_->isReady();
   scheduler_->post( change );
   scheduler_->runReady();
   waitFor( [this] { return store_->isWritten(); } );
   return isTaken && store_->attempt() == attempt;
}

bool LiveState::writeGuarded( Documents::TouchedRows const & rows,
                              std::function< void() > const & look,
                              std::function< void() > const & change ) {
   std::uint64_t attempt = 0;
   do {
      attempt = store_->attempt();
      store_->watch( rows.named, rows.taken );
      // In place of what was to be written and was not, too.
      settle();
      look();
      // It may have taken its time.
      settle();
   } while ( store_->attempt() != attempt );
   return write( change );
}

}  // namespace Program
