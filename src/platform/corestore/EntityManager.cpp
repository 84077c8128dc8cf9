#include "platform/corestore/EntityManager.h"

#include <algorithm>
#include <exception>
#include <utility>

#include "platform/corestore/EntityRows.h"
#include "platform/kel/StandardError.h"

namespace Corestore {

void MountGroup::doClose( bool, Kel::String const &, double ) {
   em_.scheduler().post(
      [group = Kel::Ptr< MountGroup >( this ), em = Kel::Ptr< EntityManager >( &em_ )] {
         MountStatus status = MountStatus::mountSuccess_;
         for ( Mount const & mount : group->mounts_ ) {
            MountStatus one = em->mount( mount );
            status = one == MountStatus::mountSuccess_ ? status : one;
         }
         group->mounter_->doMountsComplete( status, em );
      } );
}

EntityManager::EntityManager( Kel::Ptr< Orb::TaskScheduler > scheduler )
   : scheduler_( std::move( scheduler ) ) {}

EntityManager::~EntityManager() {
   storeIs( nullptr );
   if ( Kel::Notifier::changeSink() == this ) {
      Kel::Notifier::changeSinkIs( nullptr );
   }
}

void EntityManager::storeIs( Store * store ) {
   if ( store_ ) {
      store_->holderIs( nullptr );
   }
   store_ = nullptr;
   unsaved_.clear();
   if ( store ) {
      store->holderIs( this );
      try {
         // What is loaded is no change to write.
         loadFrom( *store );
      } catch ( ... ) {
         store->holderIs( nullptr );
         throw;
      }
      store_ = store;
   }
   sinkIs();
}

void EntityManager::sinkIs() {
   if ( store_ || !observers_.empty() ) {
      Kel::Notifier::changeSinkIs( this );
   } else if ( Kel::Notifier::changeSink() == this ) {
      Kel::Notifier::changeSinkIs( nullptr );
   }
}

ChangeObserver::ChangeObserver( EntityManager & em, std::function< void( Change const & ) > seen )
   : em_( em ), seen_( std::move( seen ) ) {
   em_.observers_.push_back( this );
   em_.sinkIs();
}

ChangeObserver::~ChangeObserver() {
   if ( em_.walks_ != 0 ) {
      std::ranges::replace( em_.observers_, this, nullptr );
   } else {
      std::erase( em_.observers_, this );
   }
   em_.sinkIs();
}

void EntityManager::tellObservers( Change const & change ) {
   ++walks_;
   // One that comes meanwhile sees later changes alone.
   for ( std::size_t i = 0, end = observers_.size(); i != end; ++i ) {
      if ( observers_[i] ) {
         observers_[i]->seen_( change );
      }
   }
   if ( --walks_ == 0 ) {
      std::erase( observers_, nullptr );
   }
}

void EntityManager::byHand( std::string_view writer, std::function< void() > const & mutator ) {
   hand_ = writer;
   try {
      mutator();
   } catch ( ... ) {
      hand_ = {};
      throw;
   }
   hand_ = {};
}

Kel::Ptr< MountGroup > EntityManager::getMountGroup( Kel::Ptr< Mounter > const & mounter ) {
   return new MountGroup( *this, *mounter );
}

MountStatus EntityManager::mount( Mount const & mount ) {
   mounts_[mount.path] = mount;
   return entityIs( mount.path, mount.type ) ? MountStatus::mountSuccess_
                                             : MountStatus::mountTypeMismatch_;
}

Kel::Ptr< Kel::Entity const > EntityManager::getEntity( std::string_view path ) const {
   return standing( path );
}

Kel::Ptr< Kel::Entity > EntityManager::standing( std::string_view path ) const {
   auto found = entities_.find( path );
   return found == entities_.end() ? nullptr : found->second;
}

Kel::Ptr< Kel::Entity > EntityManager::getWritableEntity( std::string_view path ) const {
   return isMountedForWrite( path ) ? standing( path ) : nullptr;
}

bool EntityManager::isMountedForWrite( std::string_view path ) const {
   auto mount = mounts_.find( path );
   return mount != mounts_.end() && mount->second.isWrite();
}

Kel::Ptr< Kel::Entity > EntityManager::entityIs( std::string_view path, std::string_view type ) {
   if ( auto found = entities_.find( path ); found != entities_.end() ) {
      return found->second->fwkType().name == type ? found->second : nullptr;
   }
   Kel::TypeRecord const * record = Kel::typeNode( type );
   Kel::Ptr< Kel::Entity > fresh = record ? record->create( Kel::Name( path ) ) : nullptr;
   if ( fresh ) {
      places_.emplace( fresh.ptr(), entities_.emplace( path, fresh ).first );
      lastRoot_ = entities_.end();
   }
   return fresh;
}

Kel::Ptr< Kel::Entity > EntityManager::entityIs( std::string_view path, std::string_view type,
                                                 RootRows const & rows ) {
   rootRows_.insert_or_assign( std::string( path ), rows );
   return entityIs( path, type );
}

RootRows const & EntityManager::rowsOf( std::string_view rootPath ) const {
   static constexpr RootRows plain;
   auto const found = rootRows_.find( rootPath );
   return found == rootRows_.end() ? plain : found->second;
}

void EntityManager::forEachRow( std::function< void( Row const & ) > const & row ) const {
   for ( auto const & [path, entity] : entities_ ) {
      Corestore::forEachRow( *entity, path, rowsOf( path ), row );
   }
}

void EntityManager::saveTo( Store & store ) const {
   forEachRow( [&store]( Row const & row ) { store.put( row ); } );
   store.flush();
}

EntityManager::Entities::const_iterator EntityManager::rootAbove( std::string_view path ) const {
   auto root = lastRoot_;
   auto const isRoot = [&] {
      return root != entities_.end() && path.starts_with( root->first ) &&
             ( path.size() == root->first.size() || path[root->first.size()] == '/' );
   };
   if ( isRoot() ) {
      return root;
   }
   // Paths of roots hold slashes themselves; the longest that begins the row's own is its root, and
   // stands right before it unless another one's name goes on.
   auto const above = entities_.upper_bound( path );
   root = above == entities_.begin() ? entities_.end() : std::prev( above );
   for ( std::size_t end = path.rfind( '/' ); !isRoot() && end != 0 && end != path.npos;
         end = path.rfind( '/', end - 1 ) ) {
      root = entities_.find( path.substr( 0, end ) );
   }
   if ( !isRoot() ) {
      return entities_.end();
   }
   std::string const below = root->first + '/';
   auto const next = entities_.lower_bound( below );
   bool const isLowest = next == entities_.end() || !next->first.starts_with( below );
   lastRoot_ = isLowest ? root : entities_.end();
   return root;
}

RowPlace EntityManager::placeOf( std::string_view path ) const {
   auto const root = rootAbove( path );
   if ( root == entities_.end() ) {
      throw Kel::ValueError( "stands without its entity" );
   }
   return rowPlace( root->second, rowsOf( root->first ), path.substr( root->first.size() ) );
}

RowForm EntityManager::formOf( std::string_view path ) const {
   try {
      return placeOf( path ).form;
   } catch ( Kel::ValueError const & ) {
      return RowForm::none;
   }
}

void EntityManager::apply( Row const & row, bool deleted, Store & store, Mutate const & mutate ) {
   RowPlace place;
   Kel::Value const * value = &row.value;
   // Of a row without those of its members that do not fit.
   Kel::Value left;
   // All that one mutator does not check by itself is checked before anything is changed.
   for ( bool fits = false; !fits; ) {
      fits = true;
      try {
         place = placeOf( row.path );
         if ( deleted ) {
            break;
         }
         checkRow( place, *value );
      } catch ( Kel::ValueError const & e ) {
         store.refused( { row, deleted }, e );
         // Of an entity that is new, the members that fit are better than nothing: what stands
         // below it depends on it.
         if ( value != &left ) {
            left = row.value;
            value = &left;
         }
         auto * const members = left.as< Kel::Value::Object >();
         bool const spare = members && place.form == RowForm::entity && !e.pointer().empty() &&
                            e.pointer() != "/@type" && place.holder && !stands( place );
         if ( !spare ||
              std::erase_if( *members, [&e]( auto const & member ) {
                 return ( e.pointer() + '/' ).starts_with( Kel::pointerStep( member.first ) + '/' );
              } ) == 0 ) {
            return;
         }
         fits = false;
      }
   }
   if ( deleted ) {
      if ( place.form != RowForm::bookMap ) {
         deleteRow( place, mutate );
      }
      return;
   }
   try {
      applyRow( place, *value, mutate );
   } catch ( Kel::ValueError const & e ) {
      if ( place.form == RowForm::entity ) {
         throw;
      }
      store.refused( { row, deleted }, e );
   }
}

void EntityManager::loadFrom( Store & store ) {
   store.load( [&]( Row const & row ) {
      apply( row, false, store, []( auto const & mutator ) { mutator(); } );
   } );
}

void EntityManager::arrived( std::vector< RowChange > changes ) {
   // One turn, saved and told at its end.
   scheduler_->post( [em = Kel::Ptr< EntityManager >( this ), changes = std::move( changes )] {
      for ( RowChange const & change : changes ) {
         if ( em->store_ ) {
            em->arriving_ = change.row.path;
            em->apply( change.row, change.deleted, *em->store_, [&em]( auto const & mutator ) {
               em->hand_ = others;
               try {
                  mutator();
               } catch ( ... ) {
                  // A row that does not fit changes nothing. What has been told is the
                  // agent's own to bear.
                  if ( em->hand_.empty() ) {
                     std::terminate();
                  }
                  em->hand_ = {};
                  throw;
               }
               em->hand_ = {};
            } );
         }
      }
      // Of several rows nobody knows which one the agent's later tasks are about.
      if ( changes.size() > 1 ) {
         em->arriving_.clear();
      }
   } );
}

EntityManager::Entities::const_iterator EntityManager::rootOf( Kel::Entity const & entity ) const {
   Kel::Entity const * root = &entity;
   while ( root->parent() ) {
      root = root->parent();
   }
   auto const found = places_.find( root );
   return found == places_.end() ? entities_.end() : found->second;
}

void EntityManager::save() {
   if ( scheduler_->queue() == 0 ) {
      arriving_.clear();
   }
   if ( !store_ ) {
      return;
   }
   switch ( store_->takes() ) {
      case Store::Takes::now:
         unsaved_.writeTo( *store_, [this]( Kel::Entity const & entity ) {
            auto const root = rootOf( entity );
            return root != entities_.end() ? &rowsOf( root->first ) : nullptr;
         } );
         store_->flush();
         break;
      case Store::Takes::later:
         break;
      case Store::Takes::all:
         unsaved_.clear();
         break;
   }
}

void EntityManager::rowDamaged( Kel::Entity const & table, Kel::AttributeRecord const & attribute,
                                std::string const & key ) {
   if ( store_ ) {
      unsaved_.addAbsent( table, attribute, key );
   }
}

void EntityManager::changed( Kel::Notifier const & notifier, Kel::AttributeId id,
                             void const * key ) {
   Kel::Entity const * const entity = notifier.asEntity();
   if ( !entity ) {
      return;
   }
   auto const root = rootOf( *entity );
   if ( root == entities_.end() ) {
      return;
   }
   Kel::AttributeRecord const & attribute = *notifier.fwkType().attributes()[id];
   std::string_view writer = std::exchange( hand_, {} );
   // What has come through the store stands there already.
   if ( store_ && writer.data() != others.data() ) {
      unsaved_.add( *entity, attribute, key );
   }
   if ( !observers_.empty() ) {
      if ( writer.empty() && isMountedForWrite( root->first ) ) {
         writer = agent;
      }
      tellObservers( { *entity, root->first, attribute, key, writer } );
   }
}

}  // namespace Corestore
