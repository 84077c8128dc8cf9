#include "scenario/Switch.h"

#include "documents/StateCheck.h"
#include "documents/StateDump.h"
#include "records/catalog/Catalog.h"

namespace Scenarios {

namespace {

using Kel::AttributeKind;

/** A later time has no room for the seconds in its digits. */
constexpr Orb::Seconds latest = 1e12;

OutputChange outputChange( Corestore::Change const & change ) {
   Kel::AttributeRecord const & attribute = change.attribute;
   OutputChange output{ change.entity.fullName(), attribute.name(), {}, {}, true };
   std::string key;
   if ( change.key ) {
      output.key = key = attribute.keyText( change.key );
   }
   if ( attribute.kind() == AttributeKind::Scalar || attribute.kind() == AttributeKind::Map ) {
      if ( auto value = attribute.read( change.entity, key ) ) {
         output.value = *value;
         output.deleted = false;
      } else if ( attribute.kind() == AttributeKind::Scalar ) {
         // A scalar has always a value; it reads as nothing when that is its default.
         output.value = attribute.preview( change.entity, key, {} );
         output.deleted = false;
      }
   } else if ( auto child = attribute.child( change.entity, key ) ) {
      output.value = Documents::entityDocument( *child );
      output.deleted = false;
   }
   return output;
}

constexpr char const * clockPath = "runner/clock";

}  // namespace

Switch::Switch( Setup setup ) : setup_( std::move( setup ) ) {
   try {
      start( setup_.initial );
   } catch ( ... ) {
      stop();
      throw;
   }
}

Switch::~Switch() {
   stop();
}

void Switch::start( Corestore::Store * state ) {
   scheduler_ = new Orb::TaskScheduler( std::make_unique< Orb::VirtualTime >() );
   em_ = new Corestore::EntityManager( scheduler_ );
   Catalog::createPlaces( *em_ );
   clock_ = Kel::ptrCast< Clock >( em_->entityIs( clockPath, Clock::kelType().name ) );
   em_->storeIs( setup_.store );
   if ( state ) {
      em_->loadFrom( *state );
   }
   if ( !( clock_->now() >= 0 && clock_->now() <= latest ) ) {
      throw Corestore::atRow( Kel::ValueError( "tells no time" ).below( "now" ), clockPath );
   }
   scheduler_->advanceTo( clock_->now() );
   scheduler_->turnEndIs( [this] { endTurn(); } );
   observe();
   if ( setup_.with == With::Agent && Kel::typeNode( "QorClient::Agent" ) ) {
      agent_ = Warden::startAgent( "QorClient::Agent", "QorClient", em_ );
   }
   if ( setup_.simulated ) {
      simulated_.emplace( *em_, *setup_.simulated );
   }
   scheduler_->runReady();
}

void Switch::stop() {
   // What the agent writes at its end is no part of what a killed process leaves.
   observer_.reset();
   scheduler_->turnEndIs( {} );
   scheduler_->postedDelAll();
   simulated_.reset();
   agent_ = nullptr;
   clock_ = nullptr;
   em_ = nullptr;
   Kel::Entity::singletonsDel();
   scheduler_ = nullptr;
}

void Switch::restart() {
   Corestore::MemoryStore state;
   if ( !setup_.store ) {
      em_->saveTo( state );
   }
   stop();
   start( setup_.store ? nullptr : &state );
}

void Switch::endTurn() {
   clock_->nowIs( scheduler_->now() );
   em_->save();
}

void Switch::mutate( std::function< void() > const & mutator ) {
   em_->byHand( "scenario", mutator );
}

void Switch::patch( Kel::Value const & document ) {
   Documents::checkState( document );
   Documents::checkRoom( *em_, document );
   // A turn of its own, so that it is saved whole.
   scheduler_->post( [&] {
      Documents::applyState(
         *em_, document, [this]( auto const & mutator ) { mutate( mutator ); }, place_ );
   } );
   scheduler_->runReady();
}

std::string Switch::place() const {
   std::string pointer;
   for ( std::string_view member : place_ ) {
      pointer += Kel::pointerStep( member );
   }
   return pointer;
}

void Switch::advance( Orb::Seconds seconds ) {
   Orb::Seconds const until = scheduler_->now() + seconds;
   if ( until > latest ) {
      throw Kel::ValueError( "takes the clock beyond 1000000000000 seconds" );
   }
   scheduler_->advanceTo( until );
   endTurn();
}

bool Switch::corrupt( std::string const & path, std::string const & table,
                      std::string const & key ) {
   Kel::Entity & entity = *em_->standing( path );
   Kel::AttributeRecord const & attribute = *entity.fwkType().attribute( table );
   bool const damaged = attribute.corrupt( entity, key );
   if ( damaged ) {
      em_->rowDamaged( entity, attribute, key );
   }
   scheduler_->runReady();
   endTurn();
   return damaged;
}

std::vector< Documents::Unmet > Switch::expect( Kel::Value const & document ) const {
   return Documents::compareState( *em_, document );
}

Kel::Value Switch::dump() const {
   return Documents::stateDocument( *em_ );
}

void Switch::outputObserverIs( std::function< void( OutputChange const & ) > observer ) {
   setup_.observer = std::move( observer );
   observe();
}

void Switch::observe() {
   observer_.reset();
   if ( setup_.observer ) {
      observer_.emplace( *em_, [this]( Corestore::Change const & change ) {
         if ( change.writer == Corestore::EntityManager::agent ) {
            setup_.observer( outputChange( change ) );
         }
      } );
   }
}

}  // namespace Scenarios
